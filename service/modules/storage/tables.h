#pragma once

#include <vector>

#include "service/modules/storage/drive/drive_link.h"
#include "service/modules/storage/read_run.h"
#include "service/sdk/module.h"

namespace orvan::storage {

// The module's diagnostics with their tests, in display order. Without `drives` no test that asks
// a drive may be run.
std::vector<sdk::DiagnosticRecord> MakeDiagnostics(const ReadEnvironment& environment,
                                                   const DriveAccess& drives = {});

}  // namespace orvan::storage
