#pragma once

#include "companions/manual/page.h"
#include "service/sdk/module.h"

namespace tarvex::manual {

// Adds the sections about a module: "diagnostics", "tests" with their parameters, and "tools"; and
// the words MODULE, as the command line has it, TITLE, SUMMARY and EXAMPLE. The module outlives the
// parts.
void AddModuleSections(PageParts& parts, const orvan::sdk::Module& module);

}  // namespace tarvex::manual
