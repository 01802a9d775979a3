#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "companions/history/run.h"
#include "companions/history/run_reader.h"

// Where logs are. Links are not followed, and nothing but regular files is opened. Any thread.
namespace tarvex::history {

// A file whose name ends as a log's does. The numbers tell whether it is still what it was.
struct LogPlace {
  std::string path;
  std::uint64_t bytes = 0;
  std::int64_t changedNs = 0;  // since the epoch
  std::uint64_t inode = 0;
  bool operator==(const LogPlace&) const = default;
};

struct PassedOver {
  std::string file;
  std::string why;
  auto operator<=>(const PassedOver&) const = default;  // NOLINT(modernize-use-nullptr): has none
};

// "…/tarvex-20261121T080000.000Z-4711.crashed.jsonl": what a run is called, whatever became of it.
std::string RunIdOf(const std::string& path);

// The logs in a folder and in those below it, by name; a link or a pipe with a log's name among
// `passedOver`, and so is the folder itself when it can't be read.
std::vector<LogPlace> LogsIn(const std::string& folder, std::vector<PassedOver>& passedOver);

// The same of several folders; a log that is in two of them, as one lies in the other, is told
// once.
std::vector<LogPlace> LogsIn(const std::vector<std::string>& folders,
                             std::vector<PassedOver>& passedOver);

// Reads the log; the run has its id, file, state and verdict.
ReadLog ReadLogFile(const std::string& path);

}  // namespace tarvex::history
