#include "service/machine/drive_claim.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>

#include "service/machine/drive_test_support.h"
#include "tests/support/captured_files.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

// Two loop devices that go by the names of namespaces of one controller.
class DriveClaimTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
    folder_.Write("file", std::string(65536, 'x'));
    for (std::optional<LoopDevice>* loop : {&own_, &other_}) {
      loop->emplace(folder_ / "file", 512, false);
      struct stat status {};
      ASSERT_EQ(stat((*loop)->Path().c_str(), &status), 0);
      const std::string node = folder_ / (loop == &own_ ? "nvme0n1" : "nvme0n2");
      ASSERT_EQ(mknod(node.c_str(), S_IFBLK | 0600, status.st_rdev), 0);
    }
    sdk::NvmeAdminCommand format;
    format.opcode = 0x80;
    command_.command = format;
    command_.device = folder_ / "nvme0n1";
    command_.expectedDevice = NumberOf(own_->Path());
    command_.diskSequence = SequenceOf(own_->Path());
  }
  static std::string Namespace(const std::string& name, const LoopDevice& loop) {
    const std::string number = TextOf(NumberOf(loop.Path()));
    const std::string folder = "/sys/devices/a/nvme/nvme0/" + name;
    return "l /sys/dev/block/" + number + " ../.." + folder.substr(4) + "\nl /sys/class/block/" +
           name + ' ' + folder + "\nf " + folder + "/dev " + number + "\\x0a\nf " + folder +
           "/diskseq " + std::to_string(SequenceOf(loop.Path())) + "\\x0a\nd " + folder +
           "/holders\n";
  }
  // The machine of both, with these lines besides.
  sdk::testing::CapturedFiles Machine(const std::string& lines = {}) {
    return sdk::testing::CapturedFiles(
        "l /sys/class/nvme-subsystem/nvme-subsys0 ../../devices/s/nvme-subsys0\n"
        "l /sys/devices/s/nvme-subsys0/nvme0 ../../a/nvme/nvme0\n"
        "d /sys/block\nf /proc/swaps Filename\\x0a\n"
        "f /proc/self/mountinfo 22 1 254:1 / / rw - ext4 /dev/vda1 rw\\x0a\n" +
        Namespace("nvme0n1", *own_) + Namespace("nvme0n2", *other_) + lines);
  }
  ClaimedDrive Claim(const std::string& lines = {}) {
    return ClaimDrive(Machine(lines), {.command = command_, .isExclusive = true});
  }
  void ExpectRefused(const ClaimedDrive& claimed, int error) {
    EXPECT_TRUE(claimed.isRefused);
    EXPECT_EQ(claimed.error, error);
    EXPECT_FALSE(claimed.descriptor.IsOpen());
    EXPECT_TRUE(claimed.others.empty());
  }
  static bool IsHeld(const LoopDevice& loop) {
    const tarvex::Descriptor mine(open(loop.Path().c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
    return !mine.IsOpen() && errno == EBUSY;
  }

  TestFolder folder_;
  std::optional<LoopDevice> own_;
  std::optional<LoopDevice> other_;
  DriveCommand command_;
};

TEST_F(DriveClaimTest, HoldsEveryNamespaceWhileTheCommandRuns) {
  {
    const ClaimedDrive claimed = Claim();
    EXPECT_FALSE(claimed.isRefused);
    EXPECT_EQ(claimed.error, 0);
    EXPECT_TRUE(claimed.descriptor.IsOpen());
    EXPECT_EQ(claimed.others.size(), 1U);
    EXPECT_TRUE(IsHeld(*own_));
    EXPECT_TRUE(IsHeld(*other_));
  }
  EXPECT_FALSE(IsHeld(*own_));
  EXPECT_FALSE(IsHeld(*other_));
}

TEST_F(DriveClaimTest, ANamespaceThatIsMountedHeldOrSwapRefusesThoseBesideIt) {
  const std::string number = TextOf(NumberOf(other_->Path()));
  ExpectRefused(
      Claim("f /proc/self/mountinfo 22 1 " + number + " / /m rw - ext4 /dev/nvme0n2 rw\\x0a\n"),
      EBUSY);
  ExpectRefused(Claim("d /sys/devices/a/nvme/nvme0/nvme0n2/holders/dm-0\n"), EBUSY);
  ExpectRefused(Claim("f /proc/swaps Filename\\x0a/dev/nvme0n2 partition 8 0 -2\\x0a\n"), EBUSY);
  ExpectRefused(Claim("e /sys/devices/a/nvme/nvme0/nvme0n2/holders 5\n"), EIO);
}

TEST_F(DriveClaimTest, ANamespaceThatSomebodyHoldsOpenRefusesThoseBesideIt) {
  const tarvex::Descriptor holder(open(other_->Path().c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
  ASSERT_TRUE(holder.IsOpen());
  ExpectRefused(Claim(), EBUSY);
  EXPECT_FALSE(IsHeld(*own_));
}

TEST_F(DriveClaimTest, ANamespaceThatCannotBeOpenedOrIsAnotherIsInDoubt) {
  ASSERT_EQ(unlink((folder_ / "nvme0n2").c_str()), 0);
  ExpectRefused(Claim(), ENOENT);
  struct stat status {};
  ASSERT_EQ(stat(own_->Path().c_str(), &status), 0);
  ASSERT_EQ(mknod((folder_ / "nvme0n2").c_str(), S_IFBLK | 0600, status.st_rdev), 0);
  ExpectRefused(Claim(), ENODEV);
}

TEST_F(DriveClaimTest, WhatTheKernelDoesNotTellOfTheControllerIsRefused) {
  ExpectRefused(Claim("e /sys/class/nvme-subsystem 13\n"), EACCES);
  ExpectRefused(Claim("f /sys/devices/a/nvme/nvme0/nvme0c0n5/hidden 1\\x0a\n"), ENOENT);
}

// A namespace that comes while the others are opened.
class GrowingFiles final : public sdk::MachineFiles {
 public:
  GrowingFiles(const sdk::MachineFiles& before, const sdk::MachineFiles& after)
      : before_(before), after_(after) {}

 private:
  const sdk::MachineFiles& Now() const { return looks_ > 1 ? after_ : before_; }
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    return Now().ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    return Now().ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    if (path == "/sys/class/nvme-subsystem") ++looks_;
    return Now().List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    return Now().Exists(path, &error);
  }
  const sdk::MachineFiles& before_;
  const sdk::MachineFiles& after_;
  mutable int looks_ = 0;
};

TEST_F(DriveClaimTest, WhatChangesBeforeAllAreHeldIsSeen) {
  const auto before = Machine();
  const std::string added = "/sys/devices/a/nvme/nvme0/nvme0n3";
  const auto more = Machine("l /sys/dev/block/259:9 " + added + "\nf " + added +
                            "/dev 259:9\\x0a\nd " + added + "/holders\n");
  const DriveOpening opening{.command = command_, .isExclusive = true};
  ExpectRefused(ClaimDrive(GrowingFiles(before, more), opening), EBUSY);
  const auto mounted = Machine("f /proc/self/mountinfo 22 1 " + TextOf(NumberOf(other_->Path())) +
                               " / /m rw - ext4 /dev/nvme0n2 rw\\x0a\n");
  ExpectRefused(ClaimDrive(GrowingFiles(before, mounted), opening), EBUSY);
}

TEST_F(DriveClaimTest, WhatOnlyReadsClaimsNothing) {
  const sdk::testing::CapturedFiles files =
      Machine("e /sys/class/nvme-subsystem 13\ne /proc/self/mountinfo 13\n");
  const ClaimedDrive claimed = ClaimDrive(files, {.command = command_});
  EXPECT_EQ(claimed.error, 0);
  EXPECT_TRUE(claimed.descriptor.IsOpen());
  EXPECT_FALSE(IsHeld(*own_));
}

}  // namespace
}  // namespace orvan::machine
