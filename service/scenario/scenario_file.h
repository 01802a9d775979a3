#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "service/scenario/script.h"

namespace orvan::scenario {

// What is wrong with a scenario, in one line: "PLACE: FAULT", where PLACE is a path such as
// "modules[0].devices[2].id", or "line L, column C" for what is no JSON.
class ScenarioFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a scenario: JSON in UTF-8, with comments ("//" and "/* */") allowed. Throws ScenarioFault
// for what is no JSON, an unknown or repeated key, a wrong type, a number out of range and a
// missing mandatory key.
Scenario ParseScenario(std::string_view text);

// The same for a file of at most 64 MiB. A file that cannot be read is a fault, too.
Scenario ReadScenario(const std::string& path);

}  // namespace orvan::scenario
