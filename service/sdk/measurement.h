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

// Of one series; a module's further points are left out.
inline constexpr std::size_t kMostSeriesPoints = 256;

// Values that a test measured along an axis, for the log, so that a report can draw them. It
// decides nothing either.
struct MeasurementSeries {
  enum class Kind {
    kCurve,      // at each position the value that was measured there
    kHistogram,  // up to each position, and above the one before, so many
    kRanges,     // from each position on so much was found, and elsewhere nothing
  };
  struct Point {
    double position = 0;
    double value = 0;
  };
  std::string name;  // as a measurement's
  Kind kind = Kind::kCurve;
  std::string unit;  // of the values; empty for a count
  std::string axis;  // what the positions are, e.g. "lba"
  std::string axisUnit;
  std::vector<Point> points;  // with rising positions
};

}  // namespace orvan::sdk
