#pragma once

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

// One value that a test measured, for the log. It decides nothing: the verdict does.
struct Measurement {
  std::string name;  // lower case with hyphens, e.g. "read-rate"
  double value = 0;  // whole numbers are exact up to 2^53
  std::string unit;  // e.g. "B/s"; empty for a count
  std::vector<Limit> limits = {};
};

}  // namespace orvan::sdk
