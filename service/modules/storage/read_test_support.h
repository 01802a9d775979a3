#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/tables.h"
#include "service/sdk/closed_machine.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/faulty_block_reader.h"

// What the unit tests of read tests share.
namespace orvan::storage {

inline constexpr std::uint64_t kSectors = 100000;  // 48 MiB, the last block of 64 KiB is short

inline Disk MakeDisk() {
  DiskFacts facts;
  facts.kernelName = "sdx";
  facts.devicePath = "/dev/sdx";
  facts.deviceNumber = sdk::DeviceNumber(8, 1);
  facts.diskSequence = 29;
  facts.serial = "one";
  return Disk("0", facts, true);
}

// Read tests over a disk in memory.
struct ReadBench : sdk::ClosedMachine {
  explicit ReadBench(machine::DiskFaults faults = {}, std::uint64_t sectors = kSectors,
                     std::uint32_t sectorBytes = 512)
      : faults(std::move(faults)), geometry{sectors * sectorBytes, sectorBytes, sectorBytes} {}

  std::chrono::steady_clock::time_point Now() const override {
    return std::chrono::steady_clock::now() + ahead;
  }
  std::uint64_t Chance() override { return chance++; }
  sdk::OpenedReader OpenReader(const sdk::BlockReaderOptions& options, std::stop_token) override {
    opened = options;
    if (onOpen) onOpen();
    if (failure.failure != sdk::OpenFailure::kNone)
      return {nullptr, failure.failure, failure.error};
    auto reader = std::make_unique<machine::FaultyBlockReader>(geometry, faults, options.depth);
    live = reader.get();
    reader->clock = [this] { return Now().time_since_epoch(); };
    reader->onCollect = [this] {
      submitted = live->Submitted();
      ahead += eachLook;
    };
    return {std::move(reader), sdk::OpenFailure::kNone, 0};
  }

  sdk::CommandAnswer Send(const sdk::DriveCommand& command, std::stop_token stop) override {
    return onSend ? onSend(command) : ClosedMachine::Send(command, std::move(stop));
  }

  sdk::Verdict Run(const std::function<sdk::Verdict(sdk::TestContext&)>& test,
                   sdk::ParameterValues parameters = {}) {
    context = std::make_unique<sdk::testing::RememberingContext>(&disk, std::move(parameters));
    return test(*context);
  }
  // One of the module's tests.
  sdk::Verdict Run(const std::string& diagnostic, const std::string& test,
                   sdk::ParameterValues parameters = {}) {
    return Run(sdk::testing::FindTest(diagnostics, diagnostic, test).run, std::move(parameters));
  }

  Disk disk = MakeDisk();
  sdk::OpenedReader failure;
  machine::DiskFaults faults;
  sdk::BlockGeometry geometry;
  std::uint64_t chance = 1000;
  const ReadEnvironment environment{this};
  const std::vector<sdk::DiagnosticRecord> diagnostics = MakeDiagnostics(environment);
  std::unique_ptr<sdk::testing::RememberingContext> context;
  sdk::BlockReaderOptions opened;
  std::function<void()> onOpen;
  std::function<sdk::CommandAnswer(const sdk::DriveCommand&)> onSend;
  machine::FaultyBlockReader* live = nullptr;
  std::vector<sdk::BlockRead> submitted;
  // How far the clock goes ahead each time that the test looks for answers, and has gone. A step
  // above half a second counts as sleep of the machine.
  std::chrono::milliseconds eachLook{0};
  std::chrono::milliseconds ahead{0};
};

// The options of a diagnostic and of one of its tests.
using NamedTest = std::pair<std::string, std::string>;

// Those that read the surface; what writes and what asks drives has tests of its own.
inline std::vector<NamedTest> AllReadTests() {
  std::vector<NamedTest> all;
  for (const sdk::DiagnosticRecord& diagnostic : MakeDiagnostics({})) {
    for (const sdk::TestRecord& test : diagnostic.tests) {
      if (!test.mayWrite && !test.parameters.empty()) {
        all.emplace_back(diagnostic.option, test.option);
      }
    }
  }
  return all;
}

}  // namespace orvan::storage
