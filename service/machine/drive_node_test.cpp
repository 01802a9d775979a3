#include "service/machine/drive_node.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <memory>
#include <optional>

#include "service/machine/drive_commands.h"
#include "service/machine/drive_test_support.h"
#include "service/machine/machine_files.h"
#include "tests/support/captured_files.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using sdk::CommandAnswer;
using Outcome = CommandAnswer::Outcome;

// What needs no drive at all.
class DrivelessCommandsTest : public testing::Test {
 protected:
  CommandAnswer Send(const std::string& device, DriveCommand command = Inquiry()) {
    command.device = device;
    return SendCommand(calls_, files_, command, {.mayWrite = true}, {});
  }
  std::shared_ptr<const sdk::MachineFiles> files_ = std::make_shared<LiveFiles>();
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
};

TEST_F(DrivelessCommandsTest, WhatIsNoDeviceIsRefused) {
  const TestFolder folder;
  folder.Write("file", "x");
  ASSERT_EQ(symlink("/dev/null", (folder / "link").c_str()), 0);
  const CommandAnswer missing = Send(folder / "missing");
  EXPECT_EQ(missing.outcome, Outcome::kGone);
  const CommandAnswer file = Send(folder / "file");
  EXPECT_EQ(file.outcome, Outcome::kRefused);
  EXPECT_EQ(file.error, EOPNOTSUPP);
  const CommandAnswer link = Send(folder / "link");
  EXPECT_EQ(link.outcome, Outcome::kRefused);
  EXPECT_EQ(link.error, ELOOP);
  const CommandAnswer null = Send("/dev/null");
  EXPECT_EQ(null.outcome, Outcome::kRefused);
  EXPECT_EQ(null.error, EOPNOTSUPP);
  EXPECT_EQ(Send("/dev/null", NvmeIdentify()).error, EOPNOTSUPP);
}

TEST(DriveNode, DrivesAreKnownByTheirNames) {
  for (const char* name : {"sda", "sdaa", "nvme0n1", "nvme10n12"}) {
    EXPECT_TRUE(IsDriveName(name, true)) << name;
    EXPECT_FALSE(IsDriveName(name, false)) << name;
  }
  EXPECT_TRUE(IsDriveName("nvme0", false));
  EXPECT_TRUE(IsDriveName("nvme12", false));
  for (const char* name : {"", "sd", "sda1", "nvme0n1p1", "nvme", "nvme0n", "nvme0c0n1", "sg0",
                           "sr0", "st0", "ng0n1", "nvme-fabrics", "0:0:0:0", "vda", "loop0"}) {
    EXPECT_FALSE(IsDriveName(name, true)) << name;
    EXPECT_FALSE(IsDriveName(name, false)) << name;
  }
  EXPECT_FALSE(IsDriveName("nvme0", true));
}

TEST(DriveNode, HasLeftWhenTheKernelSaysSoOrKnowsItNoMore) {
  const TestFolder folder;
  folder.Write("drive", "x");
  const tarvex::Descriptor drive(open((folder / "drive").c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  ASSERT_EQ(fstat(drive.Get(), &status), 0);
  const std::string known =
      MachineWith(sdk::DeviceNumber(major(status.st_dev), minor(status.st_dev)), "sdx");
  const auto hasLeft = [&](const std::string& captured) {
    return HasLeft(sdk::testing::CapturedFiles(captured), drive);
  };
  const std::string state = known + "f /sys/devices/a/block/sdx/device/state ";
  for (const char* leaving : {"deleting", "deleting (no IO)", "dead", "cancel", "deleted"}) {
    EXPECT_TRUE(hasLeft(state + leaving + "\\x0a\n")) << leaving;
  }
  for (const char* staying : {"live", "resetting", "connecting", "running", "offline"}) {
    EXPECT_FALSE(hasLeft(state + staying + "\\x0a\n")) << staying;
  }
  EXPECT_FALSE(hasLeft(known));
  EXPECT_TRUE(hasLeft("d /sys/dev/block\n"));
  EXPECT_FALSE(hasLeft(""));
}

// What the kernel says to any command for a loop device.
constexpr int kRefusedByTheKernel = EINVAL;

// A loop device that goes by the name of a drive.
class NamedDriveTest : public DrivelessCommandsTest {
 protected:
  void SetUp() override {
    if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
    folder_.Write("disk", std::string(65536, 'x'));
    loop_.emplace(folder_ / "disk", 512, false);
    Name("sdx");
  }
  void Name(const std::string& name, const std::string& type = "0") {
    const std::uint64_t number = NumberOf(loop_->Path());
    files_ = std::make_shared<sdk::testing::CapturedFiles>(MachineWith(number, name) +
                                                           "f /sys/devices/a/block/" + name +
                                                           "/device/type " + type + "\\x0a\n");
  }
  int ErrorOf(DriveCommand command) {
    if (command.expectedDevice == 0) command.expectedDevice = NumberOf(loop_->Path());
    const CommandAnswer answer = Send(loop_->Path(), command);
    last_ = answer.outcome;
    return answer.error;
  }
  DriveCommand Format() {
    DriveCommand command = Scsi({0x04, 0, 0, 0, 0, 0});
    command.diskSequence = SequenceOf(loop_->Path());
    return command;
  }
  TestFolder folder_;
  std::optional<LoopDevice> loop_;
  Outcome last_ = Outcome::kAnswered;
};

TEST_F(NamedDriveTest, OnlyADriveGetsCommands) {
  EXPECT_EQ(ErrorOf(Inquiry()), kRefusedByTheKernel);
  for (const char* name : {"sdx1", "sr0", "loop0", "vda"}) {
    Name(name);
    EXPECT_EQ(ErrorOf(Inquiry()), EOPNOTSUPP) << name;
  }
}

TEST_F(NamedDriveTest, TheTwelveByteFormGoesToDisksAlone) {
  DriveCommand ata = SmartStatus();
  std::get<sdk::AtaCommand>(ata.command).uses12Bytes = true;
  const DriveCommand scsi = Scsi({0xA1, 3 << 1, 0x20, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0});
  for (const DriveCommand& command : {ata, scsi}) {
    for (const char* type : {"0", "14", "20"}) {
      Name("sdx", type);
      EXPECT_EQ(ErrorOf(command), kRefusedByTheKernel) << type;
    }
    for (const char* type : {"5", "7", "1", ""}) {
      Name("sdx", type);
      EXPECT_EQ(ErrorOf(command), EOPNOTSUPP) << type;
      EXPECT_EQ(ErrorOf(SmartStatus()), kRefusedByTheKernel) << type;
    }
  }
}

TEST_F(NamedDriveTest, AnotherMediumIsGone) {
  DriveCommand command = Inquiry();
  command.diskSequence = SequenceOf(loop_->Path());
  EXPECT_EQ(ErrorOf(command), kRefusedByTheKernel);
  ++command.diskSequence;
  EXPECT_EQ(ErrorOf(command), ENODEV);
  EXPECT_EQ(last_, Outcome::kGone);
}

TEST_F(NamedDriveTest, WhatMayChangeTheMediumNeedsOneThatIsNamed) {
  DriveCommand command = Format();
  EXPECT_EQ(ErrorOf(command), kRefusedByTheKernel);
  EXPECT_EQ(last_, Outcome::kRefused);
  command.diskSequence = 0;
  EXPECT_EQ(ErrorOf(command), EINVAL);
  EXPECT_EQ(last_, Outcome::kNotTried);
  EXPECT_EQ(ErrorOf(SelfTest()), kRefusedByTheKernel);
}

TEST_F(NamedDriveTest, WhatMayChangeTheMediumIsNotSentToOneThatIsHeld) {
  const tarvex::Descriptor holder(open(loop_->Path().c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
  ASSERT_TRUE(holder.IsOpen());
  EXPECT_EQ(ErrorOf(Format()), EBUSY);
  EXPECT_EQ(last_, Outcome::kNotGranted);
  EXPECT_EQ(ErrorOf(SelfTest()), kRefusedByTheKernel);
}

TEST_F(DrivelessCommandsTest, NothingIsOpenedForWhatIsNotGranted) {
  const TestFolder folder;
  DriveCommand format = Scsi({0x04, 0, 0, 0, 0, 0});
  format.device = folder / "missing";
  EXPECT_EQ(SendCommand(calls_, files_, format, {}, {}).outcome, Outcome::kNotGranted);
}

}  // namespace
}  // namespace orvan::machine
