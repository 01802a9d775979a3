#pragma once

#include <memory>
#include <string>

#include "service/core/module_source.h"

namespace orvan::scenario {

// The simulated machine of a scenario file. Null, and one line in `fault` that names the file and
// the place, when it cannot be read or its trace cannot be written. A trace is emptied here.
std::unique_ptr<core::ModuleSource> MakeScenarioSource(const std::string& path, std::string& fault);

// A source that loads nothing: LoadModules returns null.
std::unique_ptr<core::ModuleSource> MakeEmptySource();

}  // namespace orvan::scenario
