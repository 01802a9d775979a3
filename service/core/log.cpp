#include "service/core/log.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace orvan::core {

std::string UtcTimeText(std::int64_t millisecondsSinceEpoch) {
  const std::time_t seconds = static_cast<std::time_t>(millisecondsSinceEpoch / 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[80];
  const int length =
      std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900,
                    parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                    static_cast<int>(millisecondsSinceEpoch % 1000));
  return {text, static_cast<std::size_t>(length)};
}

std::int64_t NowMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void ServiceLog::Write(std::string_view text) noexcept {
  try {
    std::string line = UtcTimeText(NowMilliseconds()) + ' ';
    for (const char c : text) {
      line += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
    }
    line += '\n';
    const std::lock_guard lock(mutex_);
    if (!opened_ && !folder_.empty()) {
      opened_ = true;
      MakeFolder(folder_);
      const std::string path = folder_ + "/service.log";
      SetLargeFileAside(path, kLargestLog);
      file_.Open(path, false);
    }
    if (file_.IsOpen()) {
      file_.Write(line);
    }
  } catch (...) {
    // A run never stops for its log.
  }
}

void ServiceLog::MoveTo(const std::string& folder) {
  const std::lock_guard lock(mutex_);
  folder_ = SystemPath(folder);
  file_ = AppendFile();
  opened_ = false;
}

}  // namespace orvan::core
