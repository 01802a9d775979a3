#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/tables.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"

// What the tests of the write test share.
namespace orvan::storage {

inline constexpr std::uint64_t kWriteSectors = 16384;  // 8 MiB
inline constexpr char kWritePath[] = "/dev/sdx";

inline DiskFacts FactsOfDisk() {
  DiskFacts facts;
  facts.kernelName = "sdx";
  facts.devicePath = kWritePath;
  facts.folder = "/sys/x";
  facts.deviceNumber = sdk::DeviceNumber(8, 1);
  facts.diskSequence = 29;
  facts.serial = "one";
  return facts;
}

// The write test on a disk in memory, as the service runs it.
struct WriteBench {
  explicit WriteBench(sdk::testing::MediumFaults faults = {},
                      sdk::BlockGeometry geometry = {kWriteSectors * 512, 512, 512},
                      const std::string& files = "")
      : medium(std::make_shared<sdk::testing::MemoryDisk>(geometry, std::move(faults))),
        machine(std::make_unique<sdk::testing::CapturedFiles>(files)) {
    sdk::testing::FaultyDisk& disk = machine.disks[kWritePath];
    disk.medium = medium;
    disk.deviceNumber = facts.deviceNumber;
    disk.diskSequence = facts.diskSequence;
    machine.chance = 1000;
  }

  sdk::Verdict Run(sdk::ParameterValues parameters = {{"destructive", "TRUE"}}) {
    const Disk disk("0", facts, true, [this](ContentLook look, std::stop_token) {
      looks.push_back(look);
      return partitions;
    });
    const auto diagnostics = MakeDiagnostics({&machine, std::chrono::seconds(30)});
    const sdk::TestRecord& test = sdk::testing::FindTest(diagnostics, "E", "w");
    context = std::make_unique<sdk::testing::RememberingContext>(&disk, std::move(parameters));
    if (isStopped) context->stop.request_stop();
    machine.GrantWriting(test.mayWrite);
    sdk::Verdict verdict = test.run(*context);
    machine.GrantWriting(false);
    return verdict;
  }
  // What is on the disk before the test.
  void Put(std::uint64_t lba, std::byte value) {
    const std::vector<std::byte> sector(medium->Geometry().logicalSectorBytes, value);
    ASSERT_TRUE(medium->Write(lba * sector.size(), sector).IsDone());
  }
  // Runs, and nothing is written.
  void ExpectUntouched(TestStatus status, const std::string& message,
                       sdk::ParameterValues parameters = {{"destructive", "TRUE"}}) {
    const std::uint64_t before = medium->Writes();
    const sdk::Verdict verdict = Run(std::move(parameters));
    EXPECT_EQ(verdict.status, status) << verdict.message;
    EXPECT_EQ(verdict.message, message);
    EXPECT_EQ(medium->Writes(), before);
    EXPECT_TRUE(context->lines.empty());
    EXPECT_TRUE(context->messages.empty());
  }

  DiskFacts facts = FactsOfDisk();
  std::vector<Partition> partitions;
  std::vector<ContentLook> looks;
  std::shared_ptr<sdk::testing::MemoryDisk> medium;
  sdk::testing::FaultyMachine machine;
  std::unique_ptr<sdk::testing::RememberingContext> context;
  bool isStopped = false;
};

inline const sdk::ParameterValues kForced = {{"destructive", "TRUE"}, {"overwrite", "TRUE"}};

}  // namespace orvan::storage
