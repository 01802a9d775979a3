#include "service/modules/storage/ata/raw_value.h"

#include <algorithm>

#include "service/modules/storage/bytes.h"

namespace orvan::storage::ata {
namespace {

using Raw = std::array<std::uint8_t, 6>;

std::string Padded(std::uint64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits > text.size() ? digits - text.size() : 0, '0') + text;
}

RawValue Plain(std::uint64_t number) {
  return {static_cast<std::int64_t>(number), {}, {}, std::to_string(number)};
}

// The numbers behind the one that counts, the most significant first; nothing when all are 0.
template <typename... Numbers>
std::string Behind(Numbers... numbers) {
  if ((... && (numbers == 0))) return {};
  std::string text;
  ((text += (text.empty() ? " (" : " ") + std::to_string(numbers)), ...);
  return text + ')';
}

RawValue Duration(std::uint64_t seconds, bool tellsSeconds) {
  RawValue value = Plain(seconds / 3600);
  value.text += "h+" + Padded(seconds / 60 % 60, 2) + 'm';
  if (tellsSeconds) value.text += '+' + Padded(seconds % 60, 2) + 's';
  return value;
}

// A byte that only carries on the sign of a number of 16 bits.
bool IsSign(std::uint8_t byte) {
  return byte == 0x00 || byte == 0xFF;
}

struct Extremes {
  std::int8_t one;
  std::int8_t other;
};

// Where the two extremes stand. Each maker has a place of its own; a place is believed only when
// the temperature lies between them.
std::optional<Extremes> FindExtremes(const Raw& raw) {
  const auto signedAt = [&raw](std::size_t at) { return static_cast<std::int8_t>(raw[at]); };
  const auto fits = [&](Extremes extremes) {
    const auto [low, high] = std::minmax(extremes.one, extremes.other);
    return (low != 0 || high != 0) && low <= signedAt(0) && signedAt(0) <= high;
  };
  // Words of 16 bits: temperature, one extreme, the other.
  if (IsSign(raw[1]) && IsSign(raw[3]) && IsSign(raw[5]) && fits({signedAt(2), signedAt(4)})) {
    return Extremes{signedAt(2), signedAt(4)};
  }
  // A word, and a byte for each extreme.
  if (IsSign(raw[1]) && fits({signedAt(2), signedAt(3)})) {
    return Extremes{signedAt(2), signedAt(3)};
  }
  // Three bytes.
  if (raw[3] == 0 && raw[4] == 0 && raw[5] == 0 && fits({signedAt(1), signedAt(2)})) {
    return Extremes{signedAt(1), signedAt(2)};
  }
  return std::nullopt;
}

RawValue Temperature(const Raw& raw) {
  RawValue value;
  value.number = static_cast<std::int64_t>(static_cast<std::int8_t>(raw[0]));
  value.text = std::to_string(value.number);
  const bool isAlone = std::all_of(raw.begin() + 1, raw.end(), IsSign);
  const std::optional<Extremes> extremes = isAlone ? std::nullopt : FindExtremes(raw);
  if (!extremes) {
    if (!isAlone) value.text += Behind(raw[5], raw[4], raw[3], raw[2], raw[1]);
    return value;
  }
  const auto [low, high] = std::minmax(extremes->one, extremes->other);
  value.lowest = low;
  value.highest = high;
  value.text += " (Min/Max " + std::to_string(low) + '/' + std::to_string(high) + ')';
  return value;
}

RawValue Tenths(std::uint16_t tenths) {
  RawValue value = Plain(tenths / 10U);
  value.text += '.' + std::to_string(tenths % 10U);
  return value;
}

}  // namespace

RawValue ReadRaw(RawForm form, const Raw& raw) {
  const auto number = Little<std::uint64_t, 6>(raw, 0);
  const auto low = Little<std::uint16_t>(raw, 0), middle = Little<std::uint16_t>(raw, 2),
             high = Little<std::uint16_t>(raw, 4);
  RawValue value = Plain(low);
  switch (form) {
    case RawForm::kNumber:
      return Plain(number);
    case RawForm::kWord:
      value.text += Behind(high, middle);
      return value;
    case RawForm::kAverage:
      if (middle != 0) value.text += " (Average " + std::to_string(middle) + ')';
      return value;
    case RawForm::kHours:
      value = Plain(Little<std::uint32_t, 3>(raw, 0));
      value.text += Behind(raw[5], raw[4], raw[3]);
      return value;
    case RawForm::kLongHours:
      value = Plain(Little<std::uint32_t>(raw, 0));
      value.text += Behind(raw[5], raw[4]);
      return value;
    case RawForm::kMinutes:
      return Duration(60 * number, false);
    case RawForm::kHalfMinutes:
      return Duration(30 * number, false);
    case RawForm::kSeconds:
      return Duration(number, true);
    case RawForm::kThreeWords:
      value.text = std::to_string(high) + ' ' + std::to_string(middle) + ' ' + std::to_string(low);
      return value;
    case RawForm::kTemperature:
      return Temperature(raw);
    case RawForm::kTenths:
      return Tenths(low);
  }
  return value;
}

}  // namespace orvan::storage::ata
