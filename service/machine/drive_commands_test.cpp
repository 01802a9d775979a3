#include "service/machine/drive_commands.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <optional>
#include <thread>

#include "service/machine/drive_test_support.h"
#include "service/sdk/block_reader.h"
#include "tests/support/captured_files.h"
#include "tests/support/file_server.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::CommandAnswer;
using Clock = std::chrono::steady_clock;
using Outcome = CommandAnswer::Outcome;

class DriveCommandsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!FileServer::CanServe()) GTEST_SKIP() << "needs root and /dev/fuse";
    drive_.emplace("scripted_drive", "drive");
    struct stat status {};
    ASSERT_EQ(stat(drive_->Path().c_str(), &status), 0);
    number_ = sdk::DeviceNumber(major(status.st_dev), minor(status.st_dev));
    Capture("");
  }
  // The drive's machine, with these lines besides.
  void Capture(const std::string& lines) {
    files_ = std::make_shared<sdk::testing::CapturedFiles>(MachineWith(number_, "sdx") + lines);
  }
  CommandAnswer Send(DriveCommand command, bool mayWrite = false, std::stop_token stop = {}) {
    if (mayWrite && command.expectedDevice == 0) command.expectedDevice = number_;
    return SendAsItIs(command, mayWrite, std::move(stop));
  }
  CommandAnswer SendAsItIs(DriveCommand command, bool mayWrite = true, std::stop_token stop = {}) {
    command.device = drive_->Path();
    return SendCommand(calls_, files_, command, {.mayWrite = mayWrite, .filesMayBeDrives = true},
                       std::move(stop));
  }
  std::string Script(const std::string& line) { return drive_->Command(line); }

  std::optional<FileServer> drive_;
  std::uint64_t number_ = 0;
  std::shared_ptr<const sdk::MachineFiles> files_;
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
};

TEST_F(DriveCommandsTest, AScsiCommandGoesOutAndItsDataComeIn) {
  EXPECT_EQ(Script("sg 0 0 0 32 0 - 00112233"), "ok");
  DriveCommand command = Inquiry();
  command.timeLimit = 7s;
  const CommandAnswer answer = Send(command);
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
  EXPECT_EQ(answer.scsiStatus, 0);
  EXPECT_TRUE(answer.sense.empty());
  EXPECT_FALSE(answer.hasRegisters);
  EXPECT_EQ(answer.data, (Bytes{0x00, 0x11, 0x22, 0x33}));
  EXPECT_EQ(Script("last"), "sg 120000002400 -3 36 7000 -");
}

TEST_F(DriveCommandsTest, DataGoOutWhenThatIsGranted) {
  DriveCommand command = Scsi({0x3B, 5, 0, 0, 0, 0, 0, 0, 3, 0});
  command.direction = DataDirection::kToDevice;
  command.dataOut = {0xAA, 0xBB, 0xCC};
  EXPECT_EQ(Send(command).outcome, Outcome::kNotGranted);
  EXPECT_EQ(Script("last"), "none");
  const CommandAnswer answer = Send(command, true);
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
  EXPECT_TRUE(answer.data.empty());
  EXPECT_EQ(Script("last"), "sg 3b050000000000000300 -2 3 10000 aabbcc");
}

TEST_F(DriveCommandsTest, AnAtaCommandIsSentAsPassThroughAndItsRegistersComeBack) {
  Script("sg 2 0 8 0 22 7201001d0000000e090c000000000000004f00c24050 -");
  const CommandAnswer answer = Send(SmartStatus());
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
  EXPECT_EQ(answer.scsiStatus, 2);
  EXPECT_EQ(answer.sense.size(), 22U);
  ASSERT_TRUE(answer.hasRegisters);
  EXPECT_EQ(answer.registers.status, 0x50);
  EXPECT_EQ(answer.registers.lba, 0xC24F00U);
  EXPECT_EQ(Script("last"), "sg 85062000da00000000004f00c200b000 -1 0 10000 -");
}

TEST_F(DriveCommandsTest, AScsiCommandHasNoRegistersWhateverItsSenseHolds) {
  Script("sg 2 0 8 0 22 7201001d0000000e090c000000000000004f00c24050 -");
  EXPECT_FALSE(Send(Inquiry()).hasRegisters);
}

TEST_F(DriveCommandsTest, AnNvmeCommandGoesOutWithAllItsNumbers) {
  EXPECT_EQ(Script("nvme 0 4711 01020304"), "ok");
  const CommandAnswer answer = Send(NvmeIdentify());
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
  EXPECT_EQ(answer.nvmeStatus, 0);
  EXPECT_EQ(answer.nvmeResult, 4711U);
  EXPECT_EQ(answer.data, (Bytes{1, 2, 3, 4}));
  EXPECT_EQ(Script("last"), "nvme 6 7 4 10000 1 2 3 4 5 6 -");
}

TEST_F(DriveCommandsTest, AnNvmeCommandThatFailsHasItsStatusAndNoData) {
  Script("nvme 16386 0 01020304");  // 4002h: invalid field, do not retry
  const CommandAnswer answer = Send(NvmeIdentify());
  EXPECT_EQ(answer.outcome, Outcome::kAnswered);
  EXPECT_EQ(answer.nvmeStatus, 0x4002);
  EXPECT_TRUE(answer.data.empty());
}

TEST_F(DriveCommandsTest, NvmeDataGoOutWhenThatIsGranted) {
  files_ = std::make_shared<sdk::testing::CapturedFiles>(MachineWithNvme(number_));
  DriveCommand command = NvmeIdentify();
  std::get<sdk::NvmeAdminCommand>(command.command).opcode = 0x81;  // Security Send
  command.direction = DataDirection::kToDevice;
  command.bytesIn = 0;
  command.dataOut = {1, 2};
  EXPECT_EQ(Send(command).outcome, Outcome::kNotGranted);
  EXPECT_EQ(Send(command, true).outcome, Outcome::kAnswered);
  EXPECT_EQ(Script("last"), "nvme 129 7 2 10000 1 2 3 4 5 6 0102");
}

// What the lengths that come back may be, and how much of the 36 bytes then counts.
TEST_F(DriveCommandsTest, LengthsThatCannotBeAreCut) {
  for (const auto& [resid, size] : {std::pair{0, 36U},
                                    {36, 0U},
                                    {37, 0U},
                                    {2147483647, 0U},
                                    {-1, 36U},
                                    {-2147483647, 36U},
                                    {1, 35U}}) {
    Script("sg 0 0 0 " + std::to_string(resid) + " 0 - -");
    const CommandAnswer answer = Send(Inquiry());
    EXPECT_EQ(answer.outcome, Outcome::kAnswered);
    EXPECT_EQ(answer.data.size(), size) << resid;
  }
  Script("sg 2 0 8 0 255 70 -");
  const CommandAnswer answer = Send(Inquiry());
  ASSERT_EQ(answer.sense.size(), 255U);
  EXPECT_EQ(answer.sense[0], 0x70);
  EXPECT_EQ(answer.sense[254], 0);
}

TEST_F(DriveCommandsTest, WhatTheHostAdapterSaysIsNoAnswerOfTheDrive) {
  struct Case {
    int host;
    int driver;
    Outcome outcome;
    int error;
  };
  for (const Case& one :
       {Case{1, 0, Outcome::kGone, ENODEV}, Case{2, 0, Outcome::kRefused, EBUSY},
        Case{3, 0, Outcome::kTimedOut, 0}, Case{4, 0, Outcome::kGone, ENODEV},
        Case{5, 0, Outcome::kRefused, ECANCELED}, Case{7, 0, Outcome::kRefused, EIO},
        Case{0x2F, 0, Outcome::kRefused, EIO}, Case{0, 6, Outcome::kTimedOut, 0},
        Case{3, 0x16, Outcome::kTimedOut, 0}, Case{0, 8, Outcome::kAnswered, 0}}) {
    Script("sg 0 " + std::to_string(one.host) + ' ' + std::to_string(one.driver) + " 0 0 - 11");
    const CommandAnswer answer = Send(Inquiry());
    EXPECT_EQ(answer.outcome, one.outcome) << one.host << ' ' << one.driver;
    EXPECT_EQ(answer.error, one.error) << one.host << ' ' << one.driver;
    EXPECT_EQ(answer.data.empty(), one.outcome != Outcome::kAnswered);
  }
}

TEST_F(DriveCommandsTest, AnErrorOfTheCallTellsWhoIsToBlame) {
  for (const auto& [error, outcome] : {std::pair{ENODEV, Outcome::kGone},
                                       {ENXIO, Outcome::kGone},
                                       {ENOMEDIUM, Outcome::kGone},
                                       {ENOTTY, Outcome::kRefused},
                                       {EPERM, Outcome::kRefused},
                                       {EINVAL, Outcome::kRefused},
                                       {EIO, Outcome::kRefused},
                                       {ETIMEDOUT, Outcome::kTimedOut},
                                       {ENOMEM, Outcome::kNotTried}}) {
    Script("errno " + std::to_string(error));
    for (const DriveCommand& command : {Inquiry(), NvmeIdentify()}) {
      const CommandAnswer answer = Send(command);
      EXPECT_EQ(answer.outcome, outcome) << error;
      EXPECT_EQ(answer.error, error);
    }
  }
}

TEST_F(DriveCommandsTest, ADriveThatHangsIsLeftBehindASecondAfterTheTimeLimit) {
  Script("hang");
  DriveCommand command = Inquiry();
  command.timeLimit = 1s;
  const auto start = Clock::now();
  EXPECT_EQ(Send(command).outcome, Outcome::kTimedOut);
  EXPECT_LT(Clock::now() - start, 10s);
  EXPECT_EQ(*left_, 1U);
}

TEST_F(DriveCommandsTest, AStopLeavesADriveThatHangsBehind) {
  Script("hang");
  std::stop_source stop;
  std::thread stopper([&] { stop.request_stop(); });
  const auto start = Clock::now();
  const CommandAnswer answer = Send(Inquiry(), false, stop.get_token());
  stopper.join();
  EXPECT_EQ(answer.outcome, Outcome::kNotTried);
  EXPECT_EQ(answer.error, ECANCELED);
  EXPECT_LT(Clock::now() - start, 8s);
}

// What the driver calls off when the time limit has run out, and how it says so.
TEST_F(DriveCommandsTest, ANvmeCommandThatTheKernelGaveUpHasTimedOut) {
  for (const char* line : {"nvme 881 0 -", "errno 4"}) {  // 371h, EINTR
    Script(line);
    Script("hang");
    DriveCommand command = NvmeIdentify();
    command.timeLimit = 1s;
    std::thread later([&] {
      std::this_thread::sleep_for(1200ms);  // beyond the limit, and well within what is waited
      Script("resume");
    });
    EXPECT_EQ(Send(command).outcome, Outcome::kTimedOut) << line;
    later.join();
  }
  EXPECT_EQ(*left_, 0U);
}

TEST_F(DriveCommandsTest, ANvmeCommandThatWasBrokenOffBeforeItsTimeHasNotTimedOut) {
  Script("nvme 881 0 -");
  EXPECT_EQ(Send(NvmeIdentify()).outcome, Outcome::kAnswered);
  Script("errno 4");
  const CommandAnswer answer = Send(NvmeIdentify());
  EXPECT_EQ(answer.outcome, Outcome::kRefused);
  EXPECT_EQ(answer.error, EINTR);
  Capture("f /sys/devices/a/block/sdx/device/state deleting\\x0a\n");
  EXPECT_EQ(Send(NvmeIdentify()).outcome, Outcome::kGone);
}

// The kernel resets a drive that others use when it runs out.
TEST_F(DriveCommandsTest, ATimeLimitBelowASecondIsNotTried) {
  for (DriveCommand command : {Inquiry(), SmartStatus(), NvmeIdentify()}) {
    command.timeLimit = 999ms;
    const CommandAnswer answer = Send(command);
    EXPECT_EQ(answer.outcome, Outcome::kNotTried);
    EXPECT_EQ(answer.error, EINVAL);
    EXPECT_EQ(Script("last"), "none");
    command.timeLimit = 1s;
    EXPECT_EQ(Send(command).outcome, Outcome::kAnswered);
    EXPECT_NE(Script("last"), "none");
  }
}

DriveCommand WriteBuffer() {
  DriveCommand command = Scsi({0x3B, 5, 0, 0, 0, 0, 0, 0, 3, 0});
  command.direction = DataDirection::kToDevice;
  command.dataOut = {0xAA, 0xBB, 0xCC};
  return command;
}

TEST_F(DriveCommandsTest, WhatChangesTheDriveNeedsADeviceThatIsNamed) {
  for (const DriveCommand& command : {SelfTest(), WriteBuffer()}) {
    const CommandAnswer answer = SendAsItIs(command);
    EXPECT_EQ(answer.outcome, Outcome::kNotTried);
    EXPECT_EQ(answer.error, EINVAL);
    EXPECT_EQ(Script("last"), "none");
    EXPECT_EQ(Send(command, true).outcome, Outcome::kAnswered);
    EXPECT_NE(Script("last"), "none");
  }
  EXPECT_EQ(Send(SelfTest()).outcome, Outcome::kNotGranted);
}

TEST_F(DriveCommandsTest, WhatMayChangeTheMediumIsNotSentToOneInUse) {
  Capture("f /proc/self/mountinfo 22 1 " + TextOf(number_) + " / /m rw - ext4 /dev/sdx rw\\x0a\n");
  const CommandAnswer answer = Send(WriteBuffer(), true);
  EXPECT_EQ(answer.outcome, Outcome::kNotGranted);
  EXPECT_EQ(answer.error, EBUSY);
  EXPECT_EQ(Script("last"), "none");
  EXPECT_EQ(Send(SelfTest(), true).outcome, Outcome::kAnswered);
}

TEST_F(DriveCommandsTest, WhatMayChangeTheMediumIsNotSentWhereItsUseIsUnknown) {
  Capture("e /proc/self/mountinfo 5\n");
  const CommandAnswer answer = Send(WriteBuffer(), true);
  EXPECT_EQ(answer.outcome, Outcome::kNotGranted);
  EXPECT_EQ(answer.error, EIO);
  EXPECT_EQ(Script("last"), "none");
}

TEST_F(DriveCommandsTest, WhatMayChangeTheMediumIsNotSentWhereANamespaceBesideItIsInUse) {
  files_ = std::make_shared<sdk::testing::CapturedFiles>(
      MachineWithNvme(number_) +
      "f /sys/devices/a/nvme/nvme0/nvme0n2/dev 259:77\\x0a\n"
      "l /sys/dev/block/259:77 /sys/devices/a/nvme/nvme0/nvme0n2\n"
      "d /sys/devices/a/nvme/nvme0/nvme0n2/holders/dm-0\n");
  DriveCommand format = NvmeIdentify();
  std::get<sdk::NvmeAdminCommand>(format.command).opcode = 0x80;
  format.direction = DataDirection::kNone;
  format.bytesIn = 0;
  const CommandAnswer answer = Send(format, true);
  EXPECT_EQ(answer.outcome, Outcome::kNotGranted);
  EXPECT_EQ(answer.error, EBUSY);
  EXPECT_EQ(Script("last"), "none");
  EXPECT_EQ(Send(NvmeIdentify()).outcome, Outcome::kAnswered);
}

TEST_F(DriveCommandsTest, WhatDoesNotFitTogetherIsNotTried) {
  std::vector<DriveCommand> wrong(14, Inquiry());
  wrong[0].bytesIn = 0;
  wrong[1].direction = DataDirection::kNone;
  wrong[2].dataOut = {1};
  wrong[3].bytesIn = sdk::kLargestCommandBytes + 1;
  wrong[4].timeLimit = 0ms;
  wrong[5].timeLimit = 25h;
  wrong[6] = Scsi({0x12, 0, 0, 0, 0});
  wrong[7] = Scsi(Bytes(33, 0x7F));
  wrong[8] = Scsi({});
  wrong[9] = SmartStatus();
  wrong[9].direction = DataDirection::kFromDevice;
  wrong[9].bytesIn = 512;
  wrong[10] = NvmeIdentify();
  std::get<sdk::NvmeAdminCommand>(wrong[10].command).opcode = 0x05;
  wrong[11] = Inquiry();
  wrong[11].direction = DataDirection::kToDevice;
  wrong[11].bytesIn = 0;
  wrong[12] = wrong[11];
  wrong[12].dataOut = Bytes(sdk::kLargestCommandBytes + 1);
  wrong[13] = NvmeIdentify();
  std::get<sdk::NvmeAdminCommand>(wrong[13].command).opcode = 0x07;
  for (std::size_t i = 0; i < wrong.size(); ++i) {
    const CommandAnswer answer = Send(wrong[i], true);
    EXPECT_EQ(answer.outcome, Outcome::kNotTried) << i;
    EXPECT_EQ(answer.error, EINVAL) << i;
  }
  EXPECT_EQ(Script("last"), "none");
}

TEST_F(DriveCommandsTest, AnotherDeviceUnderTheNameIsGone) {
  DriveCommand command = Inquiry();
  command.expectedDevice = sdk::DeviceNumber(8, 0);
  const CommandAnswer answer = Send(command);
  EXPECT_EQ(answer.outcome, Outcome::kGone);
  EXPECT_EQ(answer.error, ENODEV);
  EXPECT_EQ(Script("last"), "none");
}

}  // namespace
}  // namespace orvan::machine
