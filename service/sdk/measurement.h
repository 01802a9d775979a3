#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orvan::sdk {

// What a measured value is held against, with the value on the left: kLessThan 5 holds for 4.
struct Limit {
  enum class Kind {
    kEqual,
    kNotEqual,
    kLessThan,
    kLessThanOrEqual,
    kGreaterThan,
    kGreaterThanOrEqual,
  };
  Kind kind = Kind::kEqual;
  double value = 0;
};

// Of one measurement; a module's further ones are left out.
inline constexpr std::size_t kMostLimits = 16;

// One value that a test measured, for the log. It decides nothing: the verdict does.
struct Measurement {
  std::string name;  // lower case with hyphens, e.g. "read-rate"
  // Signed, and so is a limit: a temperature or an offset may be below 0. Whole numbers are exact
  // from -2^53 to 2^53.
  double value = 0;
  std::string unit;  // e.g. "B/s"; empty for a count
  std::vector<Limit> limits = {};
};

}  // namespace orvan::sdk
