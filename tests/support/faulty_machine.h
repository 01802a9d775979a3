#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "service/machine/kept_machine.h"
#include "tests/support/faulty_block_reader.h"
#include "tests/support/memory_disk.h"
#include "tests/support/memory_state.h"

namespace orvan::sdk::testing {

// A disk of a machine in memory.
struct FaultyDisk {
  std::shared_ptr<MemoryDisk> medium;
  machine::DiskFaults reads = {};  // of asynchronous reads, besides the medium's
  std::uint64_t deviceNumber = DeviceNumber(8, 0);
  std::uint64_t diskSequence = 0;                // 0: the kernel does not tell it
  OpenFailure openFailure = OpenFailure::kNone;  // of a reader
  int openError = 0;
  WriteRefusal refusal = WriteRefusal::kNone;
  int refusalError = 0;
  std::string user = {};
};

// What a drive says to a command, by a table: the first row that matches answers, as often as it
// says, and then counts no more.
struct ScriptedCommand {
  std::function<bool(const DriveCommand&)> matches;  // none: every command
  CommandAnswer answer;
  int times = -1;  // negative: always
  // Makes the answer instead, garbage for instance.
  std::function<CommandAnswer(const DriveCommand&)> make = {};
};

// A machine in memory that fails on purpose, for tests: the same contract as the live one, and no
// time passes but what it is told. One thread.
class FaultyMachine final : public machine::KeptMachine {
 public:
  explicit FaultyMachine(std::unique_ptr<MachineFiles> files) : files_(std::move(files)) {}

  const MachineFiles& Files() const override { return *files_; }
  OpenedReader OpenReader(const BlockReaderOptions& options, std::stop_token stop) override;
  OpenedWriter OpenWriter(const BlockWriterOptions& options, std::stop_token stop) override;
  std::unique_ptr<FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override;
  CommandAnswer Send(const DriveCommand& command, std::stop_token stop) override;
  std::chrono::steady_clock::time_point Now() const override { return now; }
  void Pause(std::chrono::milliseconds time, std::stop_token stop) override {
    if (!stop.stop_requested()) now += time;
    if (onPause) onPause();
  }
  std::uint64_t Chance() override { return chance++; }
  int PinThisThread(std::uint32_t processor) override;
  LockedMemoryResult LockMemory(std::size_t bytes) override;
  ModuleState& State() override { return state; }
  void GrantWriting(bool isGranted) override {
    *grant_ = false;
    grant_ = std::make_shared<bool>(isGranted);
  }
  std::size_t LeftBehind() const override { return leftBehind; }

  std::map<std::string, FaultyDisk> disks;             // by device path
  std::map<std::string, FilesystemFacts> fileSystems;  // by device path, or by mount point
  std::set<std::string> hangingFileSystems;            // the same; each look takes its limit
  std::vector<ScriptedCommand> commands;               // in order; else the answer is kRefused
  // Which commands need no right to write.
  std::function<bool(const DriveCommand&)> onlyReads = OnlyReads;
  std::vector<DriveCommand> sent;  // every command that was let through
  MemoryState state;
  std::uint32_t processors = 2;
  std::size_t lockableBytes = 1U << 20;
  std::map<std::size_t, std::uint64_t> physicalAddresses;  // offset to address
  std::size_t leftBehind = 0;
  std::uint64_t chance = 1;
  std::chrono::steady_clock::time_point now{};
  // Called at the end of each pause.
  std::function<void()> onPause;
  // How far the clock goes with each call of Collect.
  std::chrono::microseconds collectTakes{1000};

 private:
  std::unique_ptr<MachineFiles> files_;
  std::shared_ptr<bool> grant_ = std::make_shared<bool>(false);  // of the row that runs
};

}  // namespace orvan::sdk::testing
