#pragma once

#include <functional>

#include "frontend/cli_diagnostic.h"

class Cli;

namespace tarvex {

// The course of a command that runs: searches the devices of each module that is there, plans and
// runs it, and shows the final result when anything could run. `prepare` looks at a module whose
// devices were searched, and passes it over by answering false. Main thread; may throw
// InvalidAppKey.
void RunModules(Cli& cli, const NamedRecords<ModuleSelection>& modules,
                const std::function<bool(ModuleSelection& selection)>& prepare);

}  // namespace tarvex
