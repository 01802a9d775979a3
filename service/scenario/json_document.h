#pragma once

#include <string_view>

#include "service/scenario/json_fields.h"

namespace orvan::scenario {

// The value of a text: JSON in UTF-8, with comments. Throws ScenarioFault for what is no JSON and
// for a repeated key.
Json ParseJson(std::string_view text);

}  // namespace orvan::scenario
