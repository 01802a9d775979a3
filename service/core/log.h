#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "service/core/platform.h"

namespace orvan::core {

inline constexpr std::size_t kLargestLog = 4ULL * 1024 * 1024;

// The service's log: lines at the end of "service.log" in one folder, each "TIME TEXT" with the
// time in UTC (2024-11-21T08:00:00.000Z). The file is opened with the first line; one of more than
// kLargestLog bytes first becomes "service.log.1" in place of the one before. A log that cannot be
// written is silent. Any thread.
class ServiceLog {
 public:
  explicit ServiceLog(std::string folder) : folder_(std::move(folder)) {}

  // Control characters in the text, line ends among them, become blanks. Never throws.
  void Write(std::string_view text) noexcept;
  // The following lines go to this folder, which is made when it is missing.
  void MoveTo(const std::string& folder);

 private:
  std::mutex mutex_;  // guards all below
  std::string folder_;
  AppendFile file_;
  bool opened_ = false;  // one try for each folder
};

// The time as the log and the execution records write it.
std::string UtcTimeText(std::int64_t millisecondsSinceEpoch);
std::int64_t NowMilliseconds();

}  // namespace orvan::core
