#pragma once

#include <string>

#include "service/scenario/json_fields.h"
#include "service/scenario/script.h"

namespace orvan::scenario {

// What one element of "modules" says, with its diagnostics, devices and tools. Throws
// ScenarioFault; `place` is where it stands.
ModuleScript ReadModule(const Json& value, const std::string& place);

}  // namespace orvan::scenario
