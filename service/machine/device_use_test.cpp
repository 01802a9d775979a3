#include "service/machine/device_use.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>

#include "service/sdk/block_reader.h"
#include "tests/support/captured_files.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using sdk::WriteRefusal;
using sdk::testing::CapturedFiles;

constexpr std::uint64_t kDisk = sdk::DeviceNumber(8, 0);
constexpr std::uint64_t kFirst = sdk::DeviceNumber(8, 1);
constexpr std::uint64_t kSecond = sdk::DeviceNumber(8, 2);

// A disk with two partitions, and another disk, none of them in use.
const std::string kMachine =
    "l /sys/dev/block/8:0 ../../devices/a/block/sda\n"
    "l /sys/dev/block/8:1 ../../devices/a/block/sda/sda1\n"
    "l /sys/dev/block/8:2 ../../devices/a/block/sda/sda2\n"
    "l /sys/dev/block/8:16 ../../devices/b/block/sdb\n"
    "l /sys/class/block/sda ../../devices/a/block/sda\n"
    "l /sys/class/block/sda1 ../../devices/a/block/sda/sda1\n"
    "l /sys/class/block/sda2 ../../devices/a/block/sda/sda2\n"
    "l /sys/class/block/sdb ../../devices/b/block/sdb\n"
    "f /sys/devices/a/block/sda/dev 8:0\\x0a\n"
    "d /sys/devices/a/block/sda/holders\n"
    "f /sys/devices/a/block/sda/sda1/dev 8:1\\x0a\n"
    "f /sys/devices/a/block/sda/sda1/partition 1\\x0a\n"
    "d /sys/devices/a/block/sda/sda1/holders\n"
    "f /sys/devices/a/block/sda/sda2/dev 8:2\\x0a\n"
    "f /sys/devices/a/block/sda/sda2/partition 2\\x0a\n"
    "d /sys/devices/a/block/sda/sda2/holders\n"
    "f /sys/devices/b/block/sdb/dev 8:16\\x0a\n"
    "d /sys/devices/b/block/sdb/holders\n"
    "l /dev/disk/by-label/swap ../../sda2\n";
const std::string kRoot = "22 1 254:1 / / rw - ext4 /dev/vda1 rw\\x0a";
const std::string kNoSwaps = "f /proc/swaps Filename\\x09Type\\x0a\n";

std::string Mounts(const std::string& lines) {
  return "f /proc/self/mountinfo " + kRoot + lines + "\n";
}

std::string Swaps(const std::string& line) {
  return "f /proc/swaps Filename\\x09Type\\x0a" + line + "\\x0a\n";
}

DeviceUse UseOf(std::uint64_t device, const std::string& machine) {
  return FindUse(CapturedFiles(machine), device);
}

void ExpectUse(const DeviceUse& use, WriteRefusal refusal, const std::string& user = {}) {
  EXPECT_EQ(use.refusal, refusal) << use.error;
  EXPECT_EQ(use.user, user);
  EXPECT_EQ(use.error, 0);
}

TEST(DeviceUse, OfAFreeDiskIsNone) {
  const std::string machine = kMachine + Mounts("") + kNoSwaps;
  for (const std::uint64_t device : {kDisk, kFirst, kSecond}) {
    ExpectUse(UseOf(device, machine), WriteRefusal::kNone);
  }
}

TEST(DeviceUse, AMountCountsForTheDiskThePartitionAndNoOther) {
  const std::string machine =
      kMachine + Mounts("40 22 8:1 /sub /a\\040b rw - ext4 /dev/x rw\\x0a") + kNoSwaps;
  ExpectUse(UseOf(kDisk, machine), WriteRefusal::kMounted, "/a b");
  ExpectUse(UseOf(kFirst, machine), WriteRefusal::kMounted, "/a b");
  ExpectUse(UseOf(kSecond, machine), WriteRefusal::kNone);
  ExpectUse(UseOf(sdk::DeviceNumber(8, 16), machine), WriteRefusal::kNone);
}

TEST(DeviceUse, AMountOfTheWholeDiskCountsForItsPartitions) {
  const std::string machine =
      kMachine + Mounts("40 22 8:0 / /m rw - ext4 /dev/x rw\\x0a") + kNoSwaps;
  ExpectUse(UseOf(kFirst, machine), WriteRefusal::kMounted, "/m");
}

TEST(DeviceUse, ASourceCountsWhereTheKernelOpenedItAlone) {
  const auto machine = [](const std::string& type) {
    return kMachine + Mounts("40 22 0:30 / /m rw - " + type + " /dev/sda1 rw\\x0a") + kNoSwaps;
  };
  ExpectUse(UseOf(kDisk, machine("btrfs")), WriteRefusal::kMounted, "/m");
  ExpectUse(UseOf(kDisk, machine("fuse")), WriteRefusal::kNone);
}

TEST(DeviceUse, SwapCountsOverLinksToo) {
  const std::string machine =
      kMachine + Mounts("") + Swaps("/dev/disk/by-label/swap partition 8 0 -2");
  ExpectUse(UseOf(kDisk, machine), WriteRefusal::kSwap, "/dev/disk/by-label/swap");
  ExpectUse(UseOf(kSecond, machine), WriteRefusal::kSwap, "/dev/disk/by-label/swap");
  ExpectUse(UseOf(kFirst, machine), WriteRefusal::kNone);
  // A file lies on a file system, which is mounted.
  ExpectUse(UseOf(kDisk, kMachine + Mounts("") + Swaps("/dev/sda file 8 0 -2")),
            WriteRefusal::kNone);
}

TEST(DeviceUse, AHolderOfTheDiskOrAPartitionCounts) {
  const std::string machine =
      kMachine + Mounts("") + kNoSwaps + "l /sys/devices/a/block/sda/sda1/holders/md0 ../../md0\n";
  ExpectUse(UseOf(kDisk, machine), WriteRefusal::kHeld, "md0");
  ExpectUse(UseOf(kFirst, machine), WriteRefusal::kHeld, "md0");
  ExpectUse(UseOf(kSecond, machine), WriteRefusal::kNone);
}

// What could not be looked at may be a use.
TEST(DeviceUse, WhatCannotBeLookedAtIsUnknown) {
  const std::string whole = kMachine + Mounts("") + kNoSwaps;
  struct Case {
    std::string machine;
    int error;
  };
  for (const Case& one :
       {Case{whole + "e /proc/self/mountinfo 5\n", EIO}, Case{whole + "e /proc/swaps 13\n", EACCES},
        Case{whole + "e /sys/devices/a/block/sda/sda2/holders 24\n", EMFILE},
        Case{whole + "e /sys/devices/a/block/sda 5\n", EIO},
        Case{whole + "e /sys/devices/a/block/sda/sda1/dev 5\n", ENOENT},
        Case{kMachine + kNoSwaps, ENOENT}, Case{Mounts("") + kNoSwaps, ENOENT},
        Case{whole + "b /sys/dev/block/8:0 13\n", EACCES}}) {
    const DeviceUse use = UseOf(kDisk, one.machine);
    EXPECT_EQ(use.refusal, WriteRefusal::kUnknownUse) << one.machine;
    EXPECT_EQ(use.error, one.error) << one.machine;
  }
}

// Loop devices, of which the first has nothing under it.
const std::string kLoops =
    "d /sys/devices/virtual/block/loop0\n"
    "d /sys/devices/virtual/block/loop1/loop\n"
    "d /sys/devices/virtual/block/loop2/loop\n"
    "l /sys/block/loop0 ../devices/virtual/block/loop0\n"
    "l /sys/block/loop1 ../devices/virtual/block/loop1\n"
    "l /sys/block/loop2 ../devices/virtual/block/loop2\n"
    "l /sys/block/sda ../devices/a/block/sda\n";

DeviceUse UseUnderLoops(std::uint64_t device, const LoopGround& ground) {
  return FindUse(CapturedFiles(kMachine + Mounts("") + kNoSwaps + kLoops), device, ground);
}

TEST(DeviceUse, ALoopDeviceOverTheDiskOrAPartitionCounts) {
  const auto over = [](std::uint64_t second) {
    return [second](const std::string& name, std::uint64_t& device) {
      device = name == "loop2" ? second : 0;
      return 0;
    };
  };
  ExpectUse(UseUnderLoops(kDisk, over(kDisk)), WriteRefusal::kHeld, "loop2");
  ExpectUse(UseUnderLoops(kDisk, over(kFirst)), WriteRefusal::kHeld, "loop2");
  ExpectUse(UseUnderLoops(kFirst, over(kDisk)), WriteRefusal::kHeld, "loop2");
  ExpectUse(UseUnderLoops(kSecond, over(kFirst)), WriteRefusal::kNone);
  ExpectUse(UseUnderLoops(kDisk, over(0)), WriteRefusal::kNone);
}

TEST(DeviceUse, OnlyLoopDevicesWithSomethingUnderThemAreAsked) {
  std::vector<std::string> asked;
  UseUnderLoops(kDisk, [&](const std::string& name, std::uint64_t&) {
    asked.push_back(name);
    return 0;
  });
  EXPECT_EQ(asked, (std::vector<std::string>{"loop1", "loop2"}));
}

TEST(DeviceUse, ALoopDeviceThatCannotBeAskedMayBeAUse) {
  const DeviceUse use =
      UseUnderLoops(kDisk, [](const std::string&, std::uint64_t&) { return EACCES; });
  EXPECT_EQ(use.refusal, WriteRefusal::kUnknownUse);
  EXPECT_EQ(use.error, EACCES);
}

TEST(DeviceUse, WhatCannotBeAskedForItsGroundSaysWhy) {
  std::uint64_t device = 17;
  EXPECT_EQ(AskLoopGround("loop-that-is-not-there", device), ENOENT);
  EXPECT_EQ(device, 0U);
  EXPECT_EQ(AskLoopGround("null", device), ENOTTY);
  EXPECT_EQ(AskLoopGround("fd", device), ELOOP);  // a link is no loop device
}

TEST(DeviceUse, ALoopDeviceTellsWhatIsUnderIt) {
  if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  const TestFolder folder;
  folder.Write("disk", std::string(1U << 20, '\0'));
  LoopDevice disk(folder / "disk", 512);
  std::optional<LoopDevice> over;
  over.emplace(disk.Path(), 512);
  std::uint64_t device = 17;
  EXPECT_EQ(AskLoopGround(disk.Name(), device), 0);
  EXPECT_EQ(device, 0U);
  EXPECT_EQ(AskLoopGround(over->Name(), device), 0);
  EXPECT_EQ(device, NumberOf(disk.Path()));
  over->Detach();
  EXPECT_EQ(AskLoopGround(over->Name(), device), 0);
  EXPECT_EQ(device, 0U);
}

TEST(DeviceUse, ATableThatIsCutMayLackAUse) {
  // As long as the most of it that is read, and a line less.
  const auto machine = [](std::size_t bytes) {
    return kMachine + "f /proc/self/mountinfo " + kRoot +
           std::string(bytes - (kRoot.size() - 3), 'x') + '\n' + kNoSwaps;
  };
  constexpr std::size_t kMost = 16U << 20;
  const DeviceUse use = UseOf(kDisk, machine(kMost));
  EXPECT_EQ(use.refusal, WriteRefusal::kUnknownUse);
  EXPECT_EQ(use.error, EFBIG);
  ExpectUse(UseOf(kDisk, machine(kMost - 1)), WriteRefusal::kNone);
}

TEST(DeviceUse, ANameThatEndsInAnEncodedCharacterIsTheWholeName) {
  ExpectUse(
      UseOf(kDisk, kMachine + Mounts("40 22 8:1 / /a\\040 rw - ext4 /dev/x rw\\x0a") + kNoSwaps),
      WriteRefusal::kMounted, "/a ");
}

TEST(DeviceUse, NoSwapsFileIsAMachineWithoutSwap) {
  ExpectUse(UseOf(kDisk, kMachine + Mounts("")), WriteRefusal::kNone);
}

}  // namespace
}  // namespace orvan::machine
