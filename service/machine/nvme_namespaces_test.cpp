#include "service/machine/nvme_namespaces.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "service/sdk/block_reader.h"
#include "tests/support/captured_files.h"

namespace orvan::machine {
namespace {

using Names = std::vector<std::string>;

const std::string kSubsystem = "/sys/devices/virtual/nvme-subsystem/nvme-subsys0";
const std::string kFirst = "/sys/devices/pci0000:00/0000:00:05.0/nvme/nvme0";
const std::string kSecond = "/sys/devices/pci0000:00/0000:00:06.0/nvme/nvme1";
const std::string kOther = "/sys/devices/pci0000:00/0000:00:07.0/nvme/nvme2";

std::string Disk(const std::string& folder, int minor) {
  const std::string number = "259:" + std::to_string(minor);
  return "l /sys/dev/block/" + number + " ../.." + folder.substr(4) + "\nf " + folder + "/dev " +
         number + "\\x0a\nf " + folder + "/diskseq " + std::to_string(minor + 10) + "\\x0a\n";
}

std::string Subsystem(const std::string& number, const Names& controllers) {
  const std::string folder = "/sys/devices/virtual/nvme-subsystem/nvme-subsys" + number;
  std::string text =
      "l /sys/class/nvme-subsystem/nvme-subsys" + number + " ../.." + folder.substr(4) + '\n';
  text += "f " + folder + "/subsysnqn nqn\\x0a\n";
  for (const std::string& controller : controllers) {
    text += "l " + folder + controller.substr(controller.rfind('/')) + ' ' + controller + "\nd " +
            controller + '\n';
  }
  return text;
}

// Two controllers without multipath, and another drive.
std::string Plain() {
  return Subsystem("0", {kFirst, kSecond}) + Subsystem("1", {kOther}) +
         Disk(kFirst + "/nvme0n1", 0) + Disk(kFirst + "/nvme0n2", 1) +
         Disk(kSecond + "/nvme1n3", 2) + Disk(kOther + "/nvme2n1", 3);
}

// Two controllers whose disks are the subsystem's, and hidden paths to them.
std::string Multipath() {
  return Subsystem("0", {kFirst, kSecond}) + Disk(kSubsystem + "/nvme0n1", 0) +
         Disk(kSubsystem + "/nvme0n2", 1) + "f " + kFirst + "/nvme0c0n1/hidden 1\\x0a\nf " +
         kSecond + "/nvme0c1n2/hidden 1\\x0a\n";
}

NvmeNamespaces Find(const std::string& capture, std::uint32_t minor) {
  return FindNvmeNamespaces(sdk::testing::CapturedFiles(capture), sdk::DeviceNumber(259, minor));
}

Names NamesOf(const NvmeNamespaces& namespaces) {
  Names names;
  for (const NvmeNamespace& one : namespaces.all) names.push_back(one.name);
  return names;
}

TEST(NvmeNamespaces, AreThoseOfAllControllersOfTheSubsystem) {
  for (const std::uint32_t minor : {0U, 1U, 2U}) {
    const NvmeNamespaces found = Find(Plain(), minor);
    EXPECT_EQ(found.error, 0);
    EXPECT_EQ(NamesOf(found), (Names{"nvme0n1", "nvme0n2", "nvme1n3"})) << minor;
  }
  const NvmeNamespaces other = Find(Plain(), 3);
  EXPECT_EQ(other.error, 0);
  ASSERT_EQ(NamesOf(other), Names{"nvme2n1"});
  EXPECT_EQ(other.all[0].device, sdk::DeviceNumber(259, 3));
  EXPECT_EQ(other.all[0].diskSequence, 13U);
}

TEST(NvmeNamespaces, BehindHiddenPathsAreTheDisksOfTheSubsystem) {
  const NvmeNamespaces found = Find(Multipath(), 1);
  EXPECT_EQ(found.error, 0);
  EXPECT_EQ(NamesOf(found), (Names{"nvme0n1", "nvme0n2"}));
}

TEST(NvmeNamespaces, APathToADiskThatIsNotThereIsInDoubt) {
  EXPECT_EQ(Find(Multipath() + "f " + kSecond + "/nvme0c1n7/hidden 1\\x0a\n", 0).error, ENOENT);
  EXPECT_EQ(Find(Plain() + "f " + kFirst + "/nvme0c0n7/hidden 1\\x0a\n", 0).error, ENOENT);
}

TEST(NvmeNamespaces, WhatTheKernelDoesNotTellIsAnError) {
  const std::string alone = Disk(kFirst + "/nvme0n1", 0);
  EXPECT_EQ(Find(alone, 0).error, ENOENT);                             // no subsystem at all
  EXPECT_EQ(Find(alone + Subsystem("1", {kOther}), 0).error, ENOENT);  // none of this controller
  EXPECT_EQ(Find(Disk(kSubsystem + "/nvme0n1", 0), 0).error, ENOENT);  // no controller
  EXPECT_EQ(Find(Plain(), 7).error, ENOENT);                           // no such device
  EXPECT_EQ(Find(Plain() + "e /sys/class/nvme-subsystem 13\n", 0).error, EACCES);
  EXPECT_EQ(Find(Plain() + "e " + kSubsystem + " 5\n", 0).error, EIO);
  EXPECT_EQ(Find(Plain() + "e " + kSecond + " 5\n", 0).error, EIO);
  EXPECT_EQ(Find(Plain() + "b " + kSubsystem + "/nvme1 5\n", 0).error, EIO);
  EXPECT_EQ(Find(Plain() + "l " + kSubsystem + "/nvme5 ../nowhere\n", 0).error, ENOENT);
  for (const char* number : {"", "259", ":1", "259:x", "0:0", "4294967296:1", "259:4294967296"}) {
    const std::string dev = "f " + kSecond + "/nvme1n3/dev " + number + '\n';
    EXPECT_EQ(Find(Plain() + dev, 0).error, ENOENT) << number;
  }
  EXPECT_EQ(Find(Plain() + Disk(kSecond + "/nvme0n1", 9), 0).error, EEXIST);
  EXPECT_TRUE(Find(alone, 0).all.empty());
}

TEST(NvmeNamespaces, ADiskOfAnotherKindHasNone) {
  EXPECT_EQ(Find(Plain() + Disk("/sys/devices/pci0000:00/0000:00:08.0/block/sda", 8), 8).error,
            ENOENT);
}

}  // namespace
}  // namespace orvan::machine
