#include "tests/support/faulty_machine.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace orvan::sdk::testing {
namespace {

using Outcome = TransferResult::Outcome;

constexpr BlockGeometry kGeometry{1U << 20, 512, 4096};

class NoFiles final : public MachineFiles {
  std::optional<std::string> DoReadBytes(const std::string&, std::size_t, int&) const override {
    return {};
  }
  std::optional<std::string> DoReadLink(const std::string&, int&) const override { return {}; }
  std::vector<std::string> DoList(const std::string&, int&) const override { return {}; }
  bool DoExists(const std::string&, int&) const override { return false; }
};

std::vector<std::byte> Filled(unsigned char value, std::size_t sectors = 1) {
  return std::vector<std::byte>(sectors * 512, std::byte{value});
}

std::vector<std::byte> ReadAt(MemoryDisk& disk, std::uint64_t sector, std::size_t sectors = 1) {
  std::vector<std::byte> bytes = Filled(0xEE, sectors);
  EXPECT_TRUE(disk.Read(sector * 512, bytes).IsDone());
  return bytes;
}

CommandAnswer AnswerWith(CommandAnswer::Outcome outcome) {
  CommandAnswer answer;
  answer.outcome = outcome;
  return answer;
}

TEST(MemoryDiskTest, KeepsWhatIsWrittenAndIsZeroElsewhere) {
  MemoryDisk disk(kGeometry);
  EXPECT_TRUE(disk.Write(1024, Filled(7, 2)).IsDone());
  EXPECT_EQ(ReadAt(disk, 2, 2), Filled(7, 2));
  EXPECT_EQ(ReadAt(disk, 1), Filled(0));
  EXPECT_EQ(ReadAt(disk, 4), Filled(0));
  EXPECT_EQ(disk.WrittenSectors(), (std::set<std::uint64_t>{2, 3}));
}

TEST(MemoryDiskTest, ABadSectorHealsOnAWriteOnly) {
  MemoryDisk disk(kGeometry, {.badSectors = {{5, EIO}}, .healsOnWrite = true});
  auto bytes = Filled(0);
  EXPECT_EQ(disk.Read(5 * 512, bytes).error, EIO);
  EXPECT_EQ(disk.Read(5 * 512, bytes).outcome, Outcome::kFailed);
  EXPECT_TRUE(disk.Write(5 * 512, Filled(1)).IsDone());
  EXPECT_EQ(ReadAt(disk, 5), Filled(1));
}

TEST(MemoryDiskTest, AWriteFailsOrHangsWhereItShall) {
  MemoryDisk disk(kGeometry, {.failingWrites = {{5, ENOSPC}}, .hangingWrites = {9}});
  EXPECT_EQ(disk.Write(4 * 512, Filled(1, 3)).error, ENOSPC);
  EXPECT_EQ(disk.Write(9 * 512, Filled(1)).outcome, Outcome::kTimedOut);
  // What stands in front of the sector that failed was written.
  EXPECT_EQ(ReadAt(disk, 4), Filled(1));
  EXPECT_EQ(ReadAt(disk, 6), Filled(0));
}

TEST(MemoryDiskTest, VanishesForGoodOrForATime) {
  MemoryDisk disk(kGeometry, {.vanishAfter = 1, .goneFor = 2});
  auto bytes = Filled(0);
  EXPECT_TRUE(disk.Read(0, bytes).IsDone());
  EXPECT_EQ(disk.Read(0, bytes).error, ENODEV);
  EXPECT_EQ(disk.Flush().error, ENODEV);
  EXPECT_TRUE(disk.Read(0, bytes).IsDone());
  MemoryDisk gone(kGeometry, {.vanishAfter = 0});
  for (int i = 0; i < 10; ++i) EXPECT_EQ(gone.Read(0, bytes).error, ENODEV);
}

TEST(MemoryDiskTest, APowerCutTakesWhatWasNotFlushedInAnyOrder) {
  MemoryDisk disk(kGeometry, {.hasVolatileCache = true, .cutAfterWrites = 3});
  EXPECT_TRUE(disk.Write(0, Filled(1)).IsDone());
  EXPECT_TRUE(disk.Flush().IsDone());
  EXPECT_TRUE(disk.Write(0, Filled(2)).IsDone());
  EXPECT_TRUE(disk.Write(512, Filled(3, 2)).IsDone());
  EXPECT_EQ(ReadAt(disk, 0), Filled(2));
  EXPECT_EQ(disk.Write(2048, Filled(4)).error, ENODEV);
  EXPECT_FALSE(disk.HasPower());
  // The later write went to the medium, and half of it only; the earlier one did not.
  disk.RestorePower(
      [](std::size_t write, std::uint64_t sector) { return write == 1 && sector == 2; });
  EXPECT_EQ(ReadAt(disk, 0), Filled(1));
  EXPECT_EQ(ReadAt(disk, 1), Filled(0));
  EXPECT_EQ(ReadAt(disk, 2), Filled(3));
  EXPECT_EQ(ReadAt(disk, 4), Filled(0));
}

TEST(MemoryDiskTest, WithoutACacheAPowerCutTakesNothing) {
  MemoryDisk disk(kGeometry, {.cutAfterWrites = 1});
  EXPECT_TRUE(disk.Write(0, Filled(1)).IsDone());
  EXPECT_EQ(disk.Write(0, Filled(2)).error, ENODEV);
  disk.RestorePower([](std::size_t, std::uint64_t) { return false; });
  EXPECT_EQ(ReadAt(disk, 0), Filled(1));
}

TEST(FaultyMachineTest, OpensForWritingOnlyWhereTheRowSaysSo) {
  FaultyMachine machine(std::make_unique<NoFiles>());
  machine.disks["/dev/sda"].medium = std::make_shared<MemoryDisk>(kGeometry);
  const BlockWriterOptions options{"/dev/sda", DeviceNumber(8, 0)};
  EXPECT_EQ(machine.OpenWriter(options, {}).refusal, WriteRefusal::kNotGranted);
  machine.GrantWriting(true);
  EXPECT_EQ(machine.OpenWriter(options, {}).refusal, WriteRefusal::kNone);
  EXPECT_EQ(machine.OpenWriter({"/dev/sda", 1}, {}).error, ENODEV);
  EXPECT_EQ(machine.OpenWriter({"/dev/sdb", 1}, {}).error, ENOENT);
}

TEST(FaultyMachineTest, TriesNothingMoreAfterAWriteThatTimedOut) {
  FaultyMachine machine(std::make_unique<NoFiles>());
  machine.disks["/dev/sda"].medium =
      std::make_shared<MemoryDisk>(kGeometry, MediumFaults{.hangingWrites = {0}});
  machine.GrantWriting(true);
  const auto opened = machine.OpenWriter({"/dev/sda", DeviceNumber(8, 0)}, {});
  ASSERT_TRUE(opened.writer);
  EXPECT_EQ(opened.writer->Write(0, Filled(1)).outcome, Outcome::kTimedOut);
  EXPECT_EQ(opened.writer->Write(512, Filled(1)).outcome, Outcome::kNotTried);
  EXPECT_EQ(opened.writer->Flush().error, ESHUTDOWN);
}

TEST(FaultyMachineTest, AnswersCommandsByItsTable) {
  FaultyMachine machine(std::make_unique<NoFiles>());
  machine.commands.push_back(
      {[](const DriveCommand& command) { return command.device == "/dev/sda"; },
       AnswerWith(CommandAnswer::Outcome::kTimedOut), 1});
  machine.commands.push_back({{}, AnswerWith(CommandAnswer::Outcome::kAnswered)});
  DriveCommand command;
  command.device = "/dev/sda";
  command.command = ScsiCommand{{0x00, 0, 0, 0, 0, 0}};  // TEST UNIT READY
  const auto before = machine.now;
  EXPECT_EQ(machine.Send(command, {}).outcome, CommandAnswer::Outcome::kTimedOut);
  EXPECT_EQ(machine.now - before, command.timeLimit);
  EXPECT_EQ(machine.Send(command, {}).outcome, CommandAnswer::Outcome::kAnswered);
  command.command = ScsiCommand{{0x04, 0, 0, 0, 0, 0}};  // FORMAT UNIT
  EXPECT_EQ(machine.Send(command, {}).outcome, CommandAnswer::Outcome::kNotGranted);
  EXPECT_EQ(machine.sent.size(), 2U);
  machine.GrantWriting(true);
  EXPECT_EQ(machine.Send(command, {}).outcome, CommandAnswer::Outcome::kAnswered);
  std::stop_source stop;
  stop.request_stop();
  const CommandAnswer stopped = machine.Send(command, stop.get_token());
  EXPECT_EQ(stopped.outcome, CommandAnswer::Outcome::kNotTried);
  EXPECT_EQ(stopped.error, ECANCELED);
  EXPECT_EQ(machine.sent.size(), 3U);
}

TEST(FaultyMachineTest, ReadsOfItsDisksMeetTheMediumsFaults) {
  FaultyMachine machine(std::make_unique<NoFiles>());
  const auto medium = std::make_shared<MemoryDisk>(
      kGeometry, MediumFaults{.badSectors = {{8, EIO}}, .healsOnWrite = true});
  machine.disks["/dev/sda"].medium = medium;
  const auto opened = machine.OpenReader({.device = "/dev/sda"}, {});
  ASSERT_TRUE(opened.reader);
  std::vector<BlockReadResult> results;
  opened.reader->Submit({{1, 4096, 4096, 0}});
  EXPECT_EQ(opened.reader->Collect(results, {}), ReaderState::kWorking);
  EXPECT_TRUE(medium->Write(4096, Filled(0)).IsDone());
  opened.reader->Submit({{2, 4096, 4096, 0}});
  opened.reader->Collect(results, {});
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[0].error, EIO);
  EXPECT_EQ(results[1].outcome, ReadOutcome::kRead);
}

}  // namespace
}  // namespace orvan::sdk::testing
