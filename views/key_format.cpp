#include "views/key_format.h"

#include <cstddef>
#include <cstdint>

namespace tarvex {
namespace {

constexpr std::size_t kFieldColumn = 26;
constexpr std::size_t kLongestFieldName = 24;
constexpr std::size_t kCutFieldName = 21;

std::string Counted(std::uint64_t number, const char* unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

}  // namespace

std::string FormatMarkedKey(std::string_view key, bool titleCase, bool capitalizeFirst) {
  if (key.empty() || key.front() != '_') {
    return std::string(key);
  }
  return FormatKey(key.substr(1), titleCase, capitalizeFirst, true);
}

std::string FormatElapsed(double seconds) {
  // Far beyond any run, and every whole number below it is exact.
  constexpr double kMost = 1e15;
  std::uint64_t left = 0;
  if (seconds > 0) {
    left = static_cast<std::uint64_t>(seconds < kMost ? seconds : kMost);
  }
  const std::uint64_t hours = left / 3600;
  const std::uint64_t minutes = left % 3600 / 60;
  std::string text;
  if (hours != 0) {
    text += Counted(hours, "hour") + " ";
  }
  if (minutes != 0) {
    text += Counted(minutes, "minute") + " ";
  }
  return text + Counted(left % 60, "second");
}

std::string FormatFieldName(std::string_view name) {
  std::string stored(name);
  if (stored.size() > kLongestFieldName) {
    stored.resize(kCutFieldName);
    stored += "...";
  }
  return FormatKey(stored, true, true, true) + std::string(kFieldColumn - stored.size(), ' ');
}

}  // namespace tarvex
