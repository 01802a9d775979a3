#include "service/log/log_time.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace orvan::log {
namespace {

std::string TimeText(const char* format, std::int64_t milliseconds) {
  const std::chrono::milliseconds sinceEpoch(milliseconds);
  const auto whole = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  const std::time_t seconds = whole.count();
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[96];
  const int length = std::snprintf(text, sizeof text, format, parts.tm_year + 1900,
                                   parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
                                   parts.tm_sec, static_cast<int>((sinceEpoch - whole).count()));
  return {text, static_cast<std::size_t>(length)};
}

}  // namespace

std::string UtcTimeText(std::int64_t millisecondsSinceEpoch) {
  return TimeText("%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", millisecondsSinceEpoch);
}

std::string FileTimeText(std::int64_t millisecondsSinceEpoch) {
  return TimeText("%04d%02d%02dT%02d%02d%02d.%03dZ", millisecondsSinceEpoch);
}

std::int64_t NowMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace orvan::log
