#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvan::log {

struct LogLimits {
  // What is kept of earlier logs. The oldest go first.
  std::size_t files = 100;            // the running one among them
  std::uint64_t bytes = 64ULL << 20;  // of all of them together
  // What one log takes: few enough bytes that the next run keeps it.
  std::uint64_t noteBytes = 24ULL << 20;   // from there on no notes
  std::uint64_t eventBytes = 32ULL << 20;  // from there on no events, only what ends
};

// True for the name of a log: of a run that ended or goes on, with ".crashed" in it of one that was
// found without its end, and with ".unlocked" in it of one that could not be locked, so that nobody
// can tell whether its run goes on.
bool IsLogName(std::string_view name);

struct UnfinishedLog {
  std::string name;  // as it is called from now on
  std::string tail;  // its last lines, the first of them perhaps cut
};

// The logs in the folder that have no end and whose run goes on no more, each of them once: the
// file gets ".crashed" into its name. Only regular files of root or the effective user without a
// second name are logs at all. Of very many the rest comes with the next call. Any thread.
std::vector<UnfinishedLog> TakeUnfinishedLogs(const std::string& folder);

// Removes the oldest logs beyond the limits. A log whose run goes on stays, and so does `own`. What
// is no log, as above, neither counts nor goes.
void PruneLogs(const std::string& folder, const LogLimits& limits, const std::string& own);

}  // namespace orvan::log
