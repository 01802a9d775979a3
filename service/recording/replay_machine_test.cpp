#include <gtest/gtest.h>

#include <cerrno>

#include "service/recording/accesses.h"
#include "service/sdk/read_errors.h"
#include "service/sdk/watched_files.h"
#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using Transfer = sdk::TransferResult::Outcome;
using Sent = sdk::CommandAnswer::Outcome;

const std::string kHead = std::string(kFirstLine) + "1 module begin = 0\n";
// The number of "/dev/sda", and a writer of 1 MiB.
constexpr std::uint64_t kNumber = sdk::DeviceNumber(8, 0);
const std::string kOpened = kHead + "2 module open-writer /dev/sda " + std::to_string(kNumber) +
                            " 1048576 30000 = 0 0 - w0.0 1048576 512 512\n";
const std::vector<std::byte> kBytes(512, std::byte{7});

sdk::OpenedWriter Open(machine::KeptMachine& machine) {
  return machine.OpenWriter({"/dev/sda", kNumber}, {});
}

// INQUIRY, and FORMAT UNIT.
sdk::DriveCommand CommandOf(bool onlyReads) {
  sdk::DriveCommand command;
  command.device = "/dev/sda";
  command.command = sdk::ScsiCommand{onlyReads ? std::vector<std::uint8_t>{0x12, 0, 0, 0, 96, 0}
                                               : std::vector<std::uint8_t>{0x04, 0, 0, 0, 0, 0}};
  if (onlyReads) {
    command.direction = sdk::DataDirection::kFromDevice;
    command.bytesIn = 96;
  }
  return command;
}

std::string LineOf(const sdk::DriveCommand& command, const std::string& answer) {
  FieldWriter access(kind::kSend);
  Write(access, command);
  return "3 module " + access.Line() + " = " + answer + '\n';
}

TEST(ReplayMachineTest, NoTransferIsAnsweredTwice) {
  const auto machine =
      TestTape::ReplayOf(kOpened + "3 module write w0.0 0 512 = 0 0 aa\n" +
                         "4 module read w0.0 0 512 = 0 0 aa 1\n" + "5 module flush w0.0 = 0 0 -\n");
  machine->GrantWriting(true);
  const sdk::OpenedWriter opened = Open(*machine);
  std::vector<std::byte> back(512);
  EXPECT_TRUE(opened.writer->Write(0, kBytes).IsDone());
  EXPECT_TRUE(opened.writer->Read(0, back).IsDone());
  EXPECT_EQ(back, kBytes);
  EXPECT_TRUE(opened.writer->Flush().IsDone());
  for (const sdk::TransferResult& result :
       {opened.writer->Write(0, kBytes), opened.writer->Read(0, back), opened.writer->Flush()}) {
    EXPECT_EQ(result.outcome, Transfer::kNotTried);
    EXPECT_EQ(result.error, sdk::kNotRecorded);
  }
  EXPECT_EQ(Open(*machine).refusal, sdk::WriteRefusal::kOwnFault);
}

TEST(ReplayMachineTest, AWriterEndsWithItsGrant) {
  const auto machine = TestTape::ReplayOf(kOpened + "3 module write w0.0 0 512 = 0 0 aa\n");
  machine->GrantWriting(true);
  const sdk::OpenedWriter opened = Open(*machine);
  machine->GrantWriting(false);
  for (const bool isGranted : {false, true}) {
    machine->GrantWriting(isGranted);
    EXPECT_EQ(opened.writer->Write(0, kBytes).outcome, Transfer::kNotTried) << isGranted;
    EXPECT_EQ(opened.writer->Write(0, kBytes).error, EPERM) << isGranted;
  }
}

TEST(ReplayMachineTest, ACommandThatWritesNeedsAGrantAndNoneIsAnsweredTwice) {
  const std::string done = "0 0 0 - 0 0 0 0 -";
  const std::string text = kHead + LineOf(CommandOf(false), done) + LineOf(CommandOf(false), done) +
                           LineOf(CommandOf(true), "0 0 0 - 0 0 0 0 abc");
  const auto machine = TestTape::ReplayOf(text);
  EXPECT_EQ(machine->Send(CommandOf(false), {}).outcome, Sent::kNotGranted);
  EXPECT_EQ(machine->Send(CommandOf(true), {}).data.size(), 3U);
  machine->GrantWriting(true);
  EXPECT_EQ(machine->Send(CommandOf(false), {}).outcome, Sent::kAnswered);
  for (const bool onlyReads : {false, true}) {
    const sdk::CommandAnswer again = machine->Send(CommandOf(onlyReads), {});
    EXPECT_EQ(again.outcome, Sent::kNotTried);
    EXPECT_EQ(again.error, sdk::kNotRecorded);
  }
}

TEST(ReplayMachineTest, DataOfWhichThereIsAHashIsNotRecorded) {
  const auto machine =
      TestTape::ReplayOf(kHead + LineOf(CommandOf(true), "0 0 0 - 0 0 0 96 0123456789abcdef"));
  const sdk::CommandAnswer answer = machine->Send(CommandOf(true), {});
  EXPECT_EQ(answer.outcome, Sent::kNotTried);
  EXPECT_EQ(answer.error, sdk::kNotRecorded);
  EXPECT_TRUE(answer.data.empty());
}

TEST(ReplayMachineTest, NothingWaits) {
  const auto machine = TestTape::ReplayOf(kHead);
  const auto before = std::chrono::steady_clock::now();
  machine->Pause(std::chrono::hours(1), {});
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::minutes(30));
}

TEST(ReplayMachineTest, AFileThatWasNeverAskedForIsTrouble) {
  const auto machine = TestTape::ReplayOf(
      kHead + "2 module bytes /there 10 = 0 1 x\n3 module bytes /none 10 = 0 0\n");
  const sdk::WatchedFiles files(machine->Files());
  EXPECT_EQ(files.ReadBytes("/there", 10), "x");
  EXPECT_EQ(files.ReadBytes("/none", 10), std::nullopt);
  EXPECT_TRUE(files.TakeTroubles().empty());
  files.ReadBytes("/never", 10);
  files.ReadLink("/link");
  files.List("/folder");
  files.Exists("/name");
  const std::vector<sdk::FileTrouble> expected = {{"/never", sdk::kNotRecorded},
                                                  {"/link", sdk::kNotRecorded},
                                                  {"/folder", sdk::kNotRecorded},
                                                  {"/name", sdk::kNotRecorded}};
  EXPECT_EQ(files.TakeTroubles(), expected);
}

}  // namespace
}  // namespace orvan::recording
