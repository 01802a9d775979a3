#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "companions/history/run.h"

// Reading the log of one run (docs/service-log.md). Any thread.
namespace tarvex::history {

// No log of a run is longer, or has more tests, words and measurements together; what goes beyond
// is left out and said.
inline constexpr std::size_t kLongestLog = 64U << 20;
inline constexpr std::size_t kMostItems = 1000000;
// A text with so much capacity behind its end is read without a copy.
inline constexpr std::size_t kRoomBehind = 64;

struct ReadLog {
  std::optional<LoggedRun>
      run;                  // without id, file and state; and as complete when its end is there
  std::string why;          // there is none
  bool isOfSystem = false;  // the reason may be gone although the file stays as it is
  bool hasEnd = false;
  bool endsInLine = false;  // the last line is not whole
};

// What is no line of a log is passed over and told in the run's faults; a text that is none at all
// gives no run.
ReadLog ReadLogText(std::string text);

}  // namespace tarvex::history
