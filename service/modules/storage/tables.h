#pragma once

#include <vector>

#include "service/modules/storage/read_run.h"
#include "service/sdk/module.h"

namespace orvan::storage {

// The module's diagnostics with their tests, in display order.
std::vector<sdk::DiagnosticRecord> MakeDiagnostics(const ReadEnvironment& environment);

}  // namespace orvan::storage
