#pragma once

#include <string>
#include <vector>

#include "service/modules/storage/read_run.h"
#include "service/sdk/module.h"

namespace orvan::storage {

// The module's diagnostics with their tests, in display order.
std::vector<sdk::DiagnosticRecord> MakeDiagnostics(const ReadEnvironment& environment);

// The module's help, from its diagnostics alone.
std::string MakeHelpText(const std::vector<sdk::DiagnosticRecord>& diagnostics);

}  // namespace orvan::storage
