#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "boundary/orvan_service_status.h"
#include "service/log/log_artifacts.h"
#include "service/log/log_file.h"
#include "service/log/log_folder.h"
#include "service/log/log_sync.h"

namespace orvan::log {

// What all verdicts of a run come to in its end record. Not for concurrent use.
class LogOutcome {
 public:
  void Add(TestStatus status);
  // A fault outside of any test, which matters only where no test was judged.
  void AddError() { hasError_ = true; }
  LogStatus Status() const;
  LogResult Result() const;

 private:
  // A found fault counts whatever else happened; then what could not be tried, then an abort.
  enum class Rank { kNothing, kPassed, kCanceled, kInvalid, kFailed };
  Rank rank_ = Rank::kNothing;
  bool hasError_ = false;
};

// The service's log: one file for each service that has something to say, in the Open Compute
// Project's output format (docs/service-log.md). It is made with the first artifact; then earlier
// logs are looked through for one without its end, and old ones are removed. Each line is in the
// file when the call that made it returns. A log that cannot be written is silent. One that grows
// beyond its limits leaves out notes, and then events, and says so. Nothing throws. Any thread.
class ServiceLog {
 public:
  // No folder: no log. `subject` is what is known before the run.
  explicit ServiceLog(std::string folder, LogSubject subject = {}, LogLimits limits = {});

  // A fault of the software or of its surroundings. `symptom` as ErrorArtifact takes it.
  void Error(const std::string& symptom, const std::string& message) noexcept;
  void Text(LogSeverity severity, const std::string& message) noexcept;

  // Starts the run with all that is known of it, unless something else had to be said before; then
  // false, and the log knows of no hardware.
  bool Begin(LogSubject subject) noexcept;
  // Ends the run, when it has started, and says how many lines found no room. What comes later is
  // dropped.
  void End() noexcept;

  // Starts a step: a test on a device. Its line is on the disk when this returns, as far as
  // LogSync promises. The number names the step from then on.
  std::uint64_t StartStep(const std::string& name) noexcept;
  // What belongs to a step whose start is not in the file is left out.
  void Step(std::uint64_t step, const std::string& artifact,
            LogRank rank = LogRank::kNote) noexcept;
  // The same of several that mean something together only: all of them, or none.
  void Step(std::uint64_t step, const std::vector<std::string>& artifacts,
            LogRank rank = LogRank::kNote) noexcept;
  void EndStep(std::uint64_t step, LogStatus status) noexcept;
  // A verdict, for the end record.
  void Count(TestStatus status) noexcept;

  // The log goes on in this folder, which is made when it is missing, with what was said before.
  void MoveTo(const std::string& folder) noexcept;

 private:
  LogLine NextLine();
  bool Open();
  bool Admits(LogRank rank);
  bool Write(LogRank rank, const std::string& lines, std::size_t count = 1);
  void Run(LogRank rank, const std::string& artifact);
  void TellOfCrashes();

  const LogLimits limits_;
  std::mutex mutex_;  // guards all below but what `sync_` points to
  std::string folder_;
  LogSubject subject_;
  LogFile file_;
  // Used outside the lock, for it may wait; replaced on a move only, which keeps the old one alive.
  std::shared_ptr<LogSync> sync_;
  bool tried_ = false;  // one try for each folder
  bool ended_ = false;
  std::uint64_t nextLine_ = 0;
  std::uint64_t nextStep_ = 0;
  std::set<std::uint64_t> openSteps_;  // their start is in the file
  std::uint64_t lost_ = 0;             // lines that found no room
  std::set<LogRank> leftOut_;          // the log has said so
  LogOutcome outcome_;
};

}  // namespace orvan::log
