#include "service/recording/recording_machine.h"

#include <utility>

#include "service/recording/accesses.h"
#include "service/recording/known_pages.h"
#include "service/recording/recording_parts.h"
#include "service/recording/shown_messages.h"

namespace orvan::recording {
namespace {

using machine::KeptMachine;

class RecordingMachine final : public KeptMachine {
 public:
  RecordingMachine(std::unique_ptr<KeptMachine> inner, RecordingOptions options)
      : inner_(std::move(inner)),
        recorder_(std::shared_ptr<Recorder>(new Recorder{
            Redactor(options.key),
            Tape({std::move(options.file), std::move(options.module), options.begin,
                  [machine = inner_.get()] { return machine->Now(); }, std::move(options.onEnded)}),
            'w' + std::to_string(options.worker)})),
        files_(inner_->Files(), recorder_),
        state_(inner_->State(), recorder_) {
    recorder_->redactor.LookAround(inner_->Files());
    recorder_->tape.Add(FieldWriter(kind::kBegin), options.worker);
  }

  const sdk::MachineFiles& Files() const override { return files_; }
  sdk::OpenedReader OpenReader(const sdk::BlockReaderOptions& options,
                               std::stop_token stop) override;
  sdk::OpenedWriter OpenWriter(const sdk::BlockWriterOptions& options,
                               std::stop_token stop) override;
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    return RecordProbe(inner_->MakeProbe(budget), recorder_);
  }
  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override;
  std::chrono::steady_clock::time_point Now() const override { return recorder_->tape.Now(); }
  void Pause(std::chrono::milliseconds time, std::stop_token stop) override {
    inner_->Pause(time, std::move(stop));
  }

  std::uint64_t Chance() override {
    const std::uint64_t number = inner_->Chance();
    recorder_->tape.Add(FieldWriter(kind::kChance), number);
    return number;
  }
  int PinThisThread(std::uint32_t processor) override {
    const int error = inner_->PinThisThread(processor);
    recorder_->tape.Add(FieldWriter(kind::kPin).Number(processor),
                        static_cast<std::uint64_t>(error));
    return error;
  }
  sdk::LockedMemoryResult LockMemory(std::size_t bytes) override;
  sdk::ModuleState& State() override { return state_; }

  void GrantWriting(bool isGranted) override { inner_->GrantWriting(isGranted); }
  void OnShown(Moment moment) override { messages_.OnShown(moment); }
  void SkipProbes(bool areSkipped) override { inner_->SkipProbes(areSkipped); }
  std::size_t LeftBehind() const override {
    const std::size_t count = inner_->LeftBehind();
    recorder_->tape.Add(FieldWriter(kind::kLeftBehind), std::uint64_t{count});
    return count;
  }

 private:
  // The options or the command as the machine takes them, and as they are recorded.
  template <typename Asked>
  std::pair<Asked, FieldWriter> Take(const char* kind, const Asked& asked) {
    std::pair<Asked, FieldWriter> taken{asked, FieldWriter(kind)};
    Asked shown = asked;
    shown.device = recorder_->redactor.Asked(asked.device);
    Write(taken.second, shown);
    taken.first.device = recorder_->redactor.RevealedPath(asked.device);
    return taken;
  }

  const std::unique_ptr<KeptMachine> inner_;
  const std::shared_ptr<Recorder> recorder_;
  const RecordingFiles files_;
  RecordingState state_;
  ShownMessages messages_;
};

sdk::OpenedReader RecordingMachine::OpenReader(const sdk::BlockReaderOptions& options,
                                               std::stop_token stop) {
  const auto [real, access] = Take(kind::kOpenReader, options);
  sdk::OpenedReader opened = inner_->OpenReader(real, std::move(stop));
  ReaderAnswer answer{opened.failure, opened.error, {}, {}, 0};
  if (opened.reader) {
    answer.name = recorder_->NextName();
    answer.geometry = opened.reader->Geometry();
    answer.capacity = opened.reader->Capacity();
    opened.reader = RecordReader(std::move(opened.reader), answer.name, recorder_);
  }
  recorder_->tape.Add(access, answer);
  return opened;
}

sdk::OpenedWriter RecordingMachine::OpenWriter(const sdk::BlockWriterOptions& options,
                                               std::stop_token stop) {
  const auto [real, access] = Take(kind::kOpenWriter, options);
  sdk::OpenedWriter opened = inner_->OpenWriter(real, std::move(stop));
  opened.user = recorder_->redactor.Text(opened.user);
  WriterAnswer answer{opened.refusal, opened.error, opened.user, {}, {}};
  if (opened.writer) {
    answer.name = recorder_->NextName();
    answer.geometry = opened.writer->Geometry();
    opened.writer = RecordWriter(std::move(opened.writer), answer.name, recorder_);
  }
  recorder_->tape.Add(access, answer);
  return opened;
}

sdk::CommandAnswer RecordingMachine::Send(const sdk::DriveCommand& command, std::stop_token stop) {
  const auto [real, access] = Take(kind::kSend, command);
  SentAnswer sent{inner_->Send(real, std::move(stop)), 0, {}};
  if (sent.answer.data.empty() || DataOfCommand(command) == DataOf::kDrive) {
    recorder_->redactor.CommandData(command, sent.answer.data);
    recorder_->tape.Add(access, sent);
    return sent.answer;
  }
  std::vector<std::uint8_t> data;
  data.swap(sent.answer.data);
  sent.hiddenBytes = static_cast<std::uint32_t>(data.size());
  sent.hash = recorder_->redactor.HashOf(std::as_bytes(std::span(data)));
  recorder_->tape.Add(access, sent);
  sent.answer.data.swap(data);
  return sent.answer;
}

sdk::LockedMemoryResult RecordingMachine::LockMemory(std::size_t bytes) {
  sdk::LockedMemoryResult locked = inner_->LockMemory(bytes);
  MemoryAnswer answer{locked.error, {}};
  if (locked.memory) {
    answer.name = recorder_->NextName();
    locked.memory = RecordMemory(std::move(locked.memory), answer.name, recorder_);
  }
  recorder_->tape.Add(FieldWriter(kind::kLockMemory).Number(bytes), answer);
  return locked;
}

}  // namespace

std::unique_ptr<KeptMachine> MakeRecordingMachine(std::unique_ptr<KeptMachine> inner,
                                                  RecordingOptions options) {
  return std::make_unique<RecordingMachine>(std::move(inner), std::move(options));
}

}  // namespace orvan::recording
