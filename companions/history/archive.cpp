#include "companions/history/archive.h"

#include <algorithm>
#include <utility>

namespace tarvex::history {
namespace {

constexpr std::string_view kLast = "last";

ReadLog None(std::string why) {
  ReadLog read;
  read.why = std::move(why);
  return read;
}

// Logs are named by the time of their start.
bool IsNewer(const LogPlace& one, const LogPlace& other) {
  const std::string first = RunIdOf(one.path);
  const std::string second = RunIdOf(other.path);
  return first != second ? first > second : one.path < other.path;
}

}  // namespace

RunSummary SummaryOf(const LoggedRun& run) {
  RunSummary summary;
  summary.id = run.id;
  summary.file = run.file;
  summary.state = run.state;
  summary.machine = run.machine;
  summary.start = run.start;
  summary.end = run.end;
  summary.verdict = run.verdict;
  summary.devices = run.devices.size();
  summary.counts = run.Counts();
  return summary;
}

std::vector<LogPlace> Archive::Logs() {
  std::vector<LogPlace> logs;
  passedOver_.clear();
  for (const std::string& folder : folders_) {
    std::vector<LogPlace> found = LogsIn(folder, passedOver_);
    std::move(found.begin(), found.end(), std::back_inserter(logs));
  }
  return logs;
}

std::vector<RunSummary> Archive::List() {
  std::vector<RunSummary> runs;
  for (const LogPlace& log : Logs()) {
    const ReadLog read = ReadLogFile(log.path);
    if (read.run) {
      runs.push_back(SummaryOf(*read.run));
    } else {
      passedOver_.push_back({log.path, read.why});
    }
  }
  std::sort(runs.begin(), runs.end(), [](const RunSummary& one, const RunSummary& other) {
    return std::tie(one.start, one.id, one.file) > std::tie(other.start, other.id, other.file);
  });
  return runs;
}

ReadLog Archive::FindLast() {
  std::vector<LogPlace> logs = Logs();
  std::sort(logs.begin(), logs.end(), IsNewer);
  for (const LogPlace& log : logs) {
    ReadLog read = ReadLogFile(log.path);
    if (read.run) return read;
    passedOver_.push_back({log.path, read.why});
  }
  return None("there is no run");
}

ReadLog Archive::Find(const std::string& wanted) {
  if (wanted == kLast) return FindLast();
  if (wanted.find('/') != std::string::npos) return ReadLogFile(wanted);
  std::vector<LogPlace> logs = Logs();
  passedOver_.clear();  // what is wrong with others is not asked for
  const auto begins = [&wanted](const LogPlace& log) {
    return RunIdOf(log.path).substr(0, wanted.size()) == wanted;
  };
  const auto isNamed = [&wanted](const LogPlace& log) {
    return RunIdOf(log.path) == RunIdOf(wanted);
  };
  std::vector<LogPlace> found;
  std::copy_if(logs.begin(), logs.end(), std::back_inserter(found), isNamed);
  if (found.empty()) std::copy_if(logs.begin(), logs.end(), std::back_inserter(found), begins);
  if (found.empty()) return None("there is no such run");
  if (found.size() > 1) {
    return None("this is the beginning of " + std::to_string(found.size()) + " runs, " +
                found.front().path + " among them");
  }
  return ReadLogFile(found.front().path);
}

}  // namespace tarvex::history
