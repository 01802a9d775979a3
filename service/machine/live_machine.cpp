#include "service/machine/live_machine.h"

#include <sched.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <utility>

#include "os/chance.h"
#include "service/machine/apart_calls.h"
#include "service/machine/block_reader.h"
#include "service/machine/block_writer.h"
#include "service/machine/drive_commands.h"
#include "service/machine/filesystem_probe.h"
#include "service/machine/folder_state.h"
#include "service/machine/locked_memory.h"
#include "service/machine/machine_files.h"

namespace orvan::machine {
namespace {

// Far beyond what a kernel can be built for.
constexpr std::uint32_t kMostProcessors = 1U << 16;

struct FreeProcessorSet {
  void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};

int PinTo(std::uint32_t processor) {
  if (processor >= kMostProcessors) return EINVAL;
  const std::unique_ptr<cpu_set_t, FreeProcessorSet> set(CPU_ALLOC(processor + 1));
  if (!set) return ENOMEM;
  const std::size_t bytes = CPU_ALLOC_SIZE(processor + 1);
  CPU_ZERO_S(bytes, set.get());
  CPU_SET_S(processor, bytes, set.get());
  return sched_setaffinity(0, bytes, set.get()) == 0 ? 0 : errno;
}

class LiveMachine final : public KeptMachine {
 public:
  explicit LiveMachine(LiveMachineOptions options)
      : filesMayBeDrives_(options.filesMayBeDrives),
        files_(std::make_shared<LiveFiles>(std::move(options.root))),
        state_(std::move(options.stateFolder)) {}

  const sdk::MachineFiles& Files() const override { return *files_; }
  sdk::OpenedReader OpenReader(const sdk::BlockReaderOptions& options,
                               std::stop_token stop) override {
    return OpenBlockReader(calls_, leftBehind_, options, std::move(stop));
  }
  sdk::OpenedWriter OpenWriter(const sdk::BlockWriterOptions& options,
                               std::stop_token stop) override {
    WriteGrant grant = Grant();
    if (!*grant) return {nullptr, sdk::WriteRefusal::kNotGranted, 0};
    return OpenBlockWriter(calls_, files_, std::move(grant), options, std::move(stop));
  }
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    using std::chrono::milliseconds;
    return MakeFilesystemProbe(calls_, areProbesSkipped_ ? milliseconds(0) : budget);
  }
  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override {
    return SendCommand(calls_, files_, command,
                       {.mayWrite = Grant()->load(), .filesMayBeDrives = filesMayBeDrives_},
                       std::move(stop));
  }

  std::chrono::steady_clock::time_point Now() const override {
    return std::chrono::steady_clock::now();
  }
  void Pause(std::chrono::milliseconds time, std::stop_token stop) override {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait_for(lock, std::move(stop), time, [] { return false; });
  }
  std::uint64_t Chance() override {
    std::uint64_t number = 0;
    tarvex::FillByChance(std::as_writable_bytes(std::span(&number, 1)));
    return number;
  }

  int PinThisThread(std::uint32_t processor) override { return PinTo(processor); }
  sdk::LockedMemoryResult LockMemory(std::size_t bytes) override { return LockPages(bytes); }
  sdk::ModuleState& State() override { return state_; }

  // A grant of its own each time, so that what is left of a row is not revived by the next.
  void GrantWriting(bool isGranted) override {
    const std::lock_guard lock(mutex_);
    *grant_ = false;
    if (isGranted) grant_ = std::make_shared<std::atomic<bool>>(true);
  }
  void SkipProbes(bool areSkipped) override { areProbesSkipped_ = areSkipped; }
  std::size_t LeftBehind() const override { return *leftBehind_; }

 private:
  WriteGrant Grant() const {
    const std::lock_guard lock(mutex_);
    return grant_;
  }

  const std::shared_ptr<LeftBehindCount> leftBehind_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{leftBehind_};
  mutable std::mutex mutex_;
  std::shared_ptr<std::atomic<bool>> grant_ =
      std::make_shared<std::atomic<bool>>(false);  // guarded by mutex_
  std::atomic<bool> areProbesSkipped_ = false;
  const bool filesMayBeDrives_;
  const std::shared_ptr<const LiveFiles> files_;
  FolderState state_;
};

}  // namespace

std::unique_ptr<KeptMachine> MakeLiveMachine(LiveMachineOptions options) {
  return std::make_unique<LiveMachine>(std::move(options));
}

}  // namespace orvan::machine
