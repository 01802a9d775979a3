#include "service/recording/replay_machine.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include "service/recording/accesses.h"
#include "service/recording/replay_parts.h"
#include "service/recording/shown_messages.h"
#include "service/sdk/read_errors.h"

namespace orvan::recording {
namespace {

using machine::KeptMachine;

int ErrorOf(std::uint64_t number) {
  return static_cast<int>(std::min<std::uint64_t>(number, 4095));
}

class ReplayMachine final : public KeptMachine {
 public:
  explicit ReplayMachine(ReplayOptions options)
      : source_(std::make_shared<ReplaySource>(std::move(options.recording), options.module,
                                               options.worker)),
        files_(source_),
        state_(source_) {}

  const sdk::MachineFiles& Files() const override { return files_; }
  sdk::OpenedReader OpenReader(const sdk::BlockReaderOptions& options,
                               std::stop_token stop) override;
  sdk::OpenedWriter OpenWriter(const sdk::BlockWriterOptions& options,
                               std::stop_token stop) override;
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds) override {
    return ReplayProbe(source_);
  }
  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override;
  std::chrono::steady_clock::time_point Now() const override { return source_->Now(); }
  void Pause(std::chrono::milliseconds, std::stop_token) override {}

  std::uint64_t Chance() override {
    // Another one each time, also where the recording has no more; which is all the same.
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
    return source_->NextNew<std::uint64_t>(FieldWriter(kind::kChance)).value_or(beyond_ += kOdd);
  }
  int PinThisThread(std::uint32_t processor) override {
    const auto error = source_->Next<std::uint64_t>(FieldWriter(kind::kPin).Number(processor));
    return error ? ErrorOf(*error) : sdk::kNotRecorded;
  }
  sdk::LockedMemoryResult LockMemory(std::size_t bytes) override;
  sdk::ModuleState& State() override { return state_; }

  // A grant of its own each time, so that what is left of a row is not revived by the next.
  void GrantWriting(bool isGranted) override {
    const std::lock_guard lock(mutex_);
    *grant_ = false;
    if (isGranted) grant_ = std::make_shared<std::atomic<bool>>(true);
  }
  void OnShown(Moment moment) override { messages_.OnShown(moment); }
  std::size_t LeftBehind() const override {
    return source_->Next<std::uint64_t>(FieldWriter(kind::kLeftBehind)).value_or(0);
  }

 private:
  template <typename Asked>
  static FieldWriter Access(const char* kind, const Asked& asked) {
    FieldWriter fields(kind);
    Write(fields, asked);
    return fields;
  }

  WriteGrant Grant() const {
    const std::lock_guard lock(mutex_);
    return grant_;
  }

  const std::shared_ptr<ReplaySource> source_;
  const ReplayFiles files_;
  ReplayState state_;
  mutable std::mutex mutex_;  // guards grant_
  std::shared_ptr<std::atomic<bool>> grant_ = std::make_shared<std::atomic<bool>>(false);
  ShownMessages messages_;
  std::uint64_t beyond_ = 0;
};

sdk::OpenedReader ReplayMachine::OpenReader(const sdk::BlockReaderOptions& options,
                                            std::stop_token stop) {
  const auto answer = source_->Next<ReaderAnswer>(Access(kind::kOpenReader, options));
  if (stop.stop_requested()) return {nullptr, sdk::OpenFailure::kStopped, 0};
  if (!answer) return {nullptr, sdk::OpenFailure::kReader, sdk::kNotRecorded};
  sdk::OpenedReader opened{nullptr, answer->failure, answer->error};
  if (opened.failure == sdk::OpenFailure::kNone) {
    opened.reader = ReplayReader(*answer, options.device, source_);
  }
  return opened;
}

sdk::OpenedWriter ReplayMachine::OpenWriter(const sdk::BlockWriterOptions& options,
                                            std::stop_token stop) {
  const auto answer = source_->NextNew<WriterAnswer>(Access(kind::kOpenWriter, options));
  WriteGrant grant = Grant();
  if (!*grant) return {nullptr, sdk::WriteRefusal::kNotGranted, 0};
  if (stop.stop_requested()) return {nullptr, sdk::WriteRefusal::kStopped, 0};
  if (!answer) return {nullptr, sdk::WriteRefusal::kOwnFault, sdk::kNotRecorded};
  sdk::OpenedWriter opened{nullptr, answer->refusal, answer->error, answer->user};
  if (opened.refusal == sdk::WriteRefusal::kNone) {
    opened.writer = ReplayWriter(*answer, std::move(grant), source_);
  }
  return opened;
}

sdk::CommandAnswer ReplayMachine::Send(const sdk::DriveCommand& command, std::stop_token) {
  const auto sent = source_->NextNew<SentAnswer>(Access(kind::kSend, command));
  sdk::CommandAnswer answer;
  if (!*Grant() && !sdk::OnlyReads(command)) {
    answer.outcome = sdk::CommandAnswer::Outcome::kNotGranted;
    return answer;
  }
  answer.error = sdk::kNotRecorded;
  if (!sent) return answer;
  // Of what is not told nothing may be made.
  if (sent->hiddenBytes != 0) return answer;
  answer = sent->answer;
  answer.data.resize(std::min(answer.data.size(), std::size_t{command.bytesIn}));
  return answer;
}

// The memory of the machine that replays is not that of the recording, and no test of it may pass.
sdk::LockedMemoryResult ReplayMachine::LockMemory(std::size_t bytes) {
  const auto answer = source_->Next<MemoryAnswer>(FieldWriter(kind::kLockMemory).Number(bytes));
  const bool wasLocked = !answer || answer->error == 0;
  return {nullptr, wasLocked ? sdk::kNotRecorded : answer->error};
}

}  // namespace

std::unique_ptr<KeptMachine> MakeReplayMachine(ReplayOptions options) {
  return std::make_unique<ReplayMachine>(std::move(options));
}

}  // namespace orvan::recording
