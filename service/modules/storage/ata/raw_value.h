#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace orvan::storage::ata {

// What the six raw bytes of an attribute are made of. Makers choose it for each attribute.
enum class RawForm : std::uint8_t {
  kNumber,     // one number of 48 bits
  kWord,       // 16 bits, and two more counters behind them
  kAverage,    // 16 bits, and an average in the next 16
  kHours,      // 24 bits, and three bytes of the maker's
  kLongHours,  // 32 bits, and two bytes of the maker's
  kMinutes,    // power-on time in other units
  kHalfMinutes,
  kSeconds,
  kThreeWords,   // three counters of 16 bits
  kTemperature,  // degrees Celsius in 8 bits, and the extremes wherever the maker puts them
  kTenths,       // tenths of a degree Celsius
};

struct RawValue {
  std::int64_t number = 0;  // what counts: hours, degrees Celsius, or as it stands there
  // Of a temperature, in degrees Celsius.
  std::optional<int> lowest;
  std::optional<int> highest;
  std::string text;  // all of it, for people: "36 (Min/Max 20/41)"
};

// `raw` begins with its least significant byte.
RawValue ReadRaw(RawForm form, const std::array<std::uint8_t, 6>& raw);

}  // namespace orvan::storage::ata
