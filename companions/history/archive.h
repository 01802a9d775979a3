#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "companions/history/log_source.h"
#include "companions/history/run.h"

namespace tarvex::history {

// What a list tells of a run.
struct RunSummary {
  std::string id;
  std::string file;
  RunState state = RunState::kCut;
  std::string machine;
  std::string start;
  std::string end;
  Verdict verdict = Verdict::kUnfinished;
  std::size_t devices = 0;
  std::array<std::size_t, kVerdicts> counts{};
};
RunSummary SummaryOf(const LoggedRun& run);

// The logs of some folders. One thread at a time.
class Archive {
 public:
  explicit Archive(std::vector<std::string> folders) : folders_(std::move(folders)) {}

  // All runs, newest first.
  std::vector<RunSummary> List();
  // The run of that path, that name or a beginning of it, or the "last" one; none, with a reason.
  ReadLog Find(const std::string& wanted);
  // What could not be read so far, each once.
  const std::vector<PassedOver>& PassedOverFiles() const { return passedOver_; }

 private:
  std::vector<LogPlace> Logs();
  ReadLog FindLast();

  std::vector<std::string> folders_;
  std::vector<PassedOver> passedOver_;
};

}  // namespace tarvex::history
