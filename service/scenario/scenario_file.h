#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "service/scenario/script.h"

namespace orvan::scenario {

// The text with each character that steers a terminal (system/outside_text.h) written as a "u"
// escape of JSON does (ESC: "\u001B"), so that it is one line that tells a terminal nothing.
// Twice is as good as once.
std::string OneLine(std::string_view text);

// What is wrong with a scenario, as OneLine: "PLACE: FAULT", where PLACE is a path such as
// "modules[0].devices[2].id", or "line L, column C" for what is no JSON.
class ScenarioFault : public std::runtime_error {
 public:
  explicit ScenarioFault(std::string_view text) : std::runtime_error(OneLine(text)) {}
};

// Reads a scenario: JSON in UTF-8, with comments ("//" and "/* */") allowed. Throws ScenarioFault
// for what is no JSON, an unknown or repeated key, a wrong type, a number out of range and a
// missing mandatory key.
Scenario ParseScenario(std::string_view text);

// The same for a file of at most 64 MiB. A file that cannot be read is a fault, too.
Scenario ReadScenario(const std::string& path);

}  // namespace orvan::scenario
