#include "companions/history/log_json.h"

#include <algorithm>
#include <chrono>

#include "system/outside_text.h"

namespace tarvex::history {
namespace {

template <typename Kind>
std::optional<Kind> MemberOf(const JsonMembers& object, std::string_view key) {
  Kind value;
  if (object.at_key(key).get(value) != simdjson::SUCCESS) return {};
  return value;
}

bool IsPlain(char byte) {
  return byte >= 0x20 && byte < 0x7F;
}

// The whole number in `text` from `at`, of that many digits; -1 for what is none.
int DigitsAt(std::string_view text, std::size_t at, std::size_t count) {
  int value = 0;
  for (const char byte : text.substr(at, count)) {
    if (byte < '0' || byte > '9') return -1;
    value = value * 10 + (byte - '0');
  }
  return value;
}

}  // namespace

std::optional<JsonMembers> ObjectIn(const JsonMembers& object, std::string_view key) {
  return MemberOf<JsonMembers>(object, key);
}

std::optional<JsonValue> ListIn(const JsonMembers& object, std::string_view key) {
  const auto found = MemberOf<JsonValue>(object, key);
  return found && found->is_array() ? found : std::nullopt;
}

std::optional<std::uint64_t> WholeIn(const JsonMembers& object, std::string_view key) {
  return MemberOf<std::uint64_t>(object, key);
}

std::optional<double> NumberIn(const JsonMembers& object, std::string_view key) {
  return MemberOf<double>(object, key);
}

std::string TextIn(const JsonMembers& object, std::string_view key) {
  return Shown(RawTextIn(object, key));
}

std::string_view RawTextIn(const JsonMembers& object, std::string_view key) {
  return MemberOf<std::string_view>(object, key).value_or(std::string_view());
}

std::string Shown(std::string_view text) {
  return std::all_of(text.begin(), text.end(), IsPlain) ? std::string(text) : WithoutSteering(text);
}

std::optional<std::int64_t> MillisecondsOf(std::string_view time) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00.000Z";
  if (time.size() != kForm.size()) return {};
  for (std::size_t at = 0; at < kForm.size(); ++at) {
    if (kForm[at] != '0' && time[at] != kForm[at]) return {};
  }
  const int year = DigitsAt(time, 0, 4);
  const int month = DigitsAt(time, 5, 2);
  const int day = DigitsAt(time, 8, 2);
  const int hour = DigitsAt(time, 11, 2);
  const int minute = DigitsAt(time, 14, 2);
  const int second = DigitsAt(time, 17, 2);
  const int fraction = DigitsAt(time, 20, 3);
  const std::chrono::year_month_day date(std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day)));
  if (std::min({year - 1, month, day, hour, minute, second, fraction}) < 0 || !date.ok() ||
      hour > 23 || minute > 59 || second > 60) {
    return {};
  }
  using std::chrono::milliseconds;
  const auto sinceEpoch = std::chrono::sys_days(date).time_since_epoch() +
                          std::chrono::hours(hour) + std::chrono::minutes(minute) +
                          std::chrono::seconds(second) + milliseconds(fraction);
  return std::chrono::duration_cast<milliseconds>(sinceEpoch).count();
}

}  // namespace tarvex::history
