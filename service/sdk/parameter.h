#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "boundary/orvan_service_records.h"

namespace orvan::sdk {

// A parameter that a test takes. For an integer `least` and `greatest` bound it; they are 64 bits
// wide, and the boundary's record shows them saturated to 32.
struct ParameterSpec {
  std::string name;          // lower case with underscores, e.g. "block_kib"; the unit ends it
  std::string label;         // message key
  std::string detail;        // message key; what it does, in a few words
  std::string initialValue;  // the default
  std::int32_t type = kParameterInteger;
  std::string extra;  // shown in listings
  std::uint64_t least = 0;
  std::uint64_t greatest = 0;             // both 0: no range
  std::optional<std::string> value = {};  // shown as the present value; none: initialValue
};

}  // namespace orvan::sdk
