#include "service/log/log.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "service/log/log_crash.h"
#include "service/log/log_time.h"
#include "system/system_path.h"

namespace orvan::log {

void LogOutcome::Add(TestStatus status) {
  Rank rank = Rank::kInvalid;
  switch (status) {
    case kTestPassed:
    case kTestWarning:
      rank = Rank::kPassed;
      break;
    case kTestFailed:
      rank = Rank::kFailed;
      break;
    case kTestNotApplicable:
      rank = Rank::kNothing;
      break;
    case kTestCanceled:
      rank = Rank::kCanceled;
      break;
    default:
      break;
  }
  rank_ = std::max(rank_, rank);
}

LogStatus LogOutcome::Status() const {
  switch (rank_) {
    case Rank::kPassed:
    case Rank::kFailed:
      return LogStatus::kComplete;
    case Rank::kInvalid:
      return LogStatus::kError;
    case Rank::kCanceled:
      return LogStatus::kSkip;
    case Rank::kNothing:
      break;
  }
  return hasError_ ? LogStatus::kError : LogStatus::kSkip;
}

LogResult LogOutcome::Result() const {
  return rank_ == Rank::kFailed   ? LogResult::kFail
         : rank_ == Rank::kPassed ? LogResult::kPass
                                  : LogResult::kNotApplicable;
}

namespace {

// A run never stops for its log.
template <typename Call>
void Quietly(Call&& call) noexcept {
  try {
    call();
  } catch (...) {
  }
}

std::string CrashText(const UnfinishedLog& log) {
  std::string text = "an earlier run did not come to its end: " + log.name;
  const std::vector<std::string> steps = OpenSteps(log.tail);
  text += steps.empty() ? "; no test was running" : "; running: ";
  for (const std::string& step : steps) {
    text += (&step == &steps.front() ? "" : ", ") + step;
  }
  return text;
}

}  // namespace

ServiceLog::ServiceLog(std::string folder, LogSubject subject, LogLimits limits)
    : limits_(limits), folder_(std::move(folder)), subject_(std::move(subject)) {}

LogLine ServiceLog::NextLine() {
  // A line that could not be written leaves a gap in the numbers, which tells of the loss.
  return {nextLine_++, NowMilliseconds()};
}

bool ServiceLog::Open() {
  if (tried_ || ended_) return file_.IsOpen();
  tried_ = true;
  const std::int64_t now = NowMilliseconds();
  if (!file_.Create(folder_, now)) return false;
  nextLine_ = 0;
  const std::string version = SchemaVersionLine({nextLine_++, now});
  const std::string start = RunLine({nextLine_++, now}, RunStartArtifact(subject_));
  if (!file_.Append(version, LogRank::kOutcome) || !file_.Append(start, LogRank::kOutcome)) {
    file_.Discard();
    return false;
  }
  sync_ = std::make_shared<LogSync>(file_.Syncer());
  TellOfCrashes();
  PruneLogs(folder_, limits_, file_.Name());
  return true;
}

void ServiceLog::TellOfCrashes() {
  for (const UnfinishedLog& log : TakeUnfinishedLogs(folder_)) {
    Run(LogRank::kEvent, ErrorArtifact("earlier-run-unfinished", CrashText(log)));
  }
}

bool ServiceLog::Admits(LogRank rank) {
  if (rank > LogRank::kEvent ||
      file_.Size() < (rank == LogRank::kNote ? limits_.noteBytes : limits_.eventBytes)) {
    return true;
  }
  if (leftOut_.insert(rank).second) {
    const char* const what = rank == LogRank::kNote ? "measurements and texts" : "tests and errors";
    Write(LogRank::kOutcome,
          RunLine(NextLine(),
                  TextArtifact(LogSeverity::kWarning,
                               "the log is long; left out from here on: " + std::string(what))));
  }
  return false;
}

bool ServiceLog::Write(LogRank rank, const std::string& lines, std::size_t count) {
  const bool isWritten = file_.Append(lines, rank);
  lost_ += isWritten ? 0 : count;
  return isWritten;
}

void ServiceLog::Run(LogRank rank, const std::string& artifact) {
  if (Open() && Admits(rank)) Write(rank, RunLine(NextLine(), artifact));
}

void ServiceLog::Error(const std::string& symptom, const std::string& message) noexcept {
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    outcome_.AddError();
    Run(LogRank::kEvent, ErrorArtifact(symptom, message));
  });
}

void ServiceLog::Text(LogSeverity severity, const std::string& message) noexcept {
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    Run(severity == LogSeverity::kInfo ? LogRank::kNote : LogRank::kEvent,
        TextArtifact(severity, message));
  });
}

bool ServiceLog::Begin(LogSubject subject) noexcept {
  bool begins = false;
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    if (!tried_) {
      subject_ = std::move(subject);
      begins = Open();
    }
  });
  return begins;
}

void ServiceLog::End() noexcept {
  std::shared_ptr<LogSync> sync;  // ends outside the lock
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    if (file_.IsOpen()) {
      if (lost_ > 0) {
        Run(LogRank::kEnd,
            ErrorArtifact("log-incomplete", "lines that found no room: " + std::to_string(lost_)));
      }
      Run(LogRank::kEnd, RunEndArtifact(outcome_.Status(), outcome_.Result()));
    }
    ended_ = true;
    file_.Close();
    sync.swap(sync_);
  });
}

std::uint64_t ServiceLog::StartStep(const std::string& name) noexcept {
  std::uint64_t step = 0;
  std::shared_ptr<LogSync> sync;
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    step = nextStep_++;
    if (Open() && Admits(LogRank::kEvent) &&
        Write(LogRank::kEvent, StepLine(NextLine(), step, StepStartArtifact(name)))) {
      openSteps_.insert(step);
      sync = sync_;
    }
  });
  Quietly([&] {
    if (sync != nullptr) sync->SyncNow();
  });
  return step;
}

void ServiceLog::Step(std::uint64_t step, const std::string& artifact, LogRank rank) noexcept {
  Quietly([&] { Step(step, std::vector<std::string>{artifact}, rank); });
}

void ServiceLog::Step(std::uint64_t step, const std::vector<std::string>& artifacts,
                      LogRank rank) noexcept {
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    if (!file_.IsOpen() || openSteps_.count(step) == 0 || !Admits(rank)) return;
    std::string lines;
    for (const std::string& artifact : artifacts) lines += StepLine(NextLine(), step, artifact);
    Write(rank, lines, artifacts.size());
  });
}

void ServiceLog::EndStep(std::uint64_t step, LogStatus status) noexcept {
  std::shared_ptr<LogSync> sync;
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    if (file_.IsOpen() && openSteps_.erase(step) > 0) {
      Write(LogRank::kEnd, StepLine(NextLine(), step, StepEndArtifact(status)));
      sync = sync_;
    }
  });
  Quietly([&] {
    if (sync != nullptr) sync->SyncSoon();
  });
}

void ServiceLog::Count(TestStatus status) noexcept {
  Quietly([&] {
    const std::lock_guard lock(mutex_);
    outcome_.Add(status);
  });
}

void ServiceLog::MoveTo(const std::string& folder) noexcept {
  std::shared_ptr<LogSync> sync;  // ends outside the lock
  Quietly([&] {
    const std::string place = tarvex::WithSlashes(folder);
    const std::lock_guard lock(mutex_);
    if (place == folder_ || ended_) return;
    if (!file_.IsOpen()) {
      folder_ = place;
      tried_ = false;
    } else if (file_.MoveTo(place, NowMilliseconds())) {
      folder_ = place;
      sync = std::exchange(sync_, std::make_shared<LogSync>(file_.Syncer()));
      TellOfCrashes();
      PruneLogs(folder_, limits_, file_.Name());
    }
  });
}

}  // namespace orvan::log
