// What is on the disks of a scan, and when they are looked at for it.
#include "service/modules/storage/partitions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stop_token>
#include <string>
#include <vector>

#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

using Names = std::vector<std::string>;

std::string Text(const DiagResource& resource) {
  std::string text = resource.type;
  for (const auto& [label, value] : resource.pairs) text += ' ' + label + '=' + value;
  return text;
}

std::vector<std::string> Resources(ListedProbe& probe, const std::string& name) {
  std::vector<std::string> texts;
  const sdk::testing::CapturedFiles files = Capture("desktop");
  ScannedMachine machine(files, probe);
  for (const auto& disk : ScanDisks(machine, true)) {
    if (disk->Facts().kernelName != name) continue;
    for (const DiagResource& resource : disk->Resources({})) texts.push_back(Text(resource));
  }
  return texts;
}

TEST(Partitions, WhatTheDeviceManagerKnowsIsNotReadAgain) {
  ListedProbe probe;
  EXPECT_EQ(
      Resources(probe, "sda"),
      (Names{"PARTITION PARTITION_TYPE=PRIMARY MOUNT_POINT=/boot/efi FILE_SYSTEM=vfat LABEL=EFI "
             "SIZE=536870912 USED=1000 FREE=24 INDEX=1",
             "PARTITION PARTITION_TYPE=PRIMARY MOUNT_POINT=/ FILE_SYSTEM=ext4 LABEL=the root "
             "SIZE=499568869376 USED=1000 FREE=24 INDEX=2"}));
  for (const std::string& asked : probe.asked) EXPECT_FALSE(asked.starts_with("/dev/sda"));
}

TEST(Partitions, ADosTableHasPrimaryExtendedAndLogicalOnes) {
  ListedProbe probe;
  probe.facts["/dev/sdb"].tableType = "dos";
  probe.facts["/dev/sdb1"] = {"", "swap", "", {}};
  probe.facts["/dev/sdb2"] = {"dos", "", "", {}};
  probe.facts["/dev/sdb5"] = {"", "ext4", "data\n", {}};
  probe.facts["/dev/sdb6"] = {"", "btrfs", "", {}};
  EXPECT_EQ(
      Resources(probe, "sdb"),
      (Names{
          "PARTITION PARTITION_TYPE=PRIMARY MOUNT_POINT=UNABLE_TO_OBTAIN FILE_SYSTEM=swap LABEL= "
          "SIZE=536870912 USED=UNABLE_TO_OBTAIN FREE=UNABLE_TO_OBTAIN INDEX=1",
          "PARTITION PARTITION_TYPE=EXTENDED MOUNT_POINT=UNABLE_TO_OBTAIN FILE_SYSTEM= LABEL= "
          "SIZE=1024 USED=UNABLE_TO_OBTAIN FREE=UNABLE_TO_OBTAIN INDEX=2",
          "PARTITION PARTITION_TYPE=LOGICAL MOUNT_POINT=/srv/my data FILE_SYSTEM=ext4 LABEL=data "
          "SIZE=2147483648 USED=1000 FREE=24 INDEX=5",
          "PARTITION PARTITION_TYPE=LOGICAL MOUNT_POINT=/srv/btrfs FILE_SYSTEM=btrfs LABEL= "
          "SIZE=4294967296 USED=1000 FREE=24 INDEX=6"}));
}

TEST(Partitions, AProbeThatHangsCostsOnlyWhatItWouldHaveSaid) {
  ListedProbe probe;
  probe.hangs = true;
  const auto texts = Resources(probe, "sdb");
  ASSERT_EQ(texts.size(), 4U);
  EXPECT_EQ(texts[2],
            "PARTITION PARTITION_TYPE=PRIMARY MOUNT_POINT=/srv/my data FILE_SYSTEM=ext4 LABEL= "
            "SIZE=2147483648 USED=UNABLE_TO_OBTAIN FREE=UNABLE_TO_OBTAIN INDEX=5");
  // Each disk is asked once and then left alone.
  const auto asked = std::count_if(probe.asked.begin(), probe.asked.end(),
                                   [](const auto& text) { return text.starts_with("/dev/sdb"); });
  EXPECT_EQ(asked, 1);
}

TEST(Partitions, AMountPointIsToldAndAskedAsItIs) {
  const sdk::testing::CapturedFiles files(
      "f /sys/block/vda/dev 254:0\nf /sys/block/vda/size 2048\n"
      "f /proc/self/mountinfo 22 1 254:0 / /mnt/a\\x5c033[2J rw - ext4 /dev/vda rw\\x0a\n");
  ListedProbe probe;
  ScannedMachine machine(files, probe);
  const auto disks = ScanDisks(machine, false);
  ASSERT_EQ(disks.size(), 1U);
  ASSERT_EQ(disks[0]->Resources({}).size(), 1U);
  EXPECT_NE(Text(disks[0]->Resources({})[0]).find("MOUNT_POINT=/mnt/a\033[2J "), std::string::npos);
  EXPECT_EQ(probe.asked, (Names{"/dev/vda@/mnt/a\033[2J"}));
}

TEST(Partitions, AFileSystemOnTheWholeDiskCountsAsOne) {
  ListedProbe probe;
  probe.facts["/dev/vda"].fileSystem = "ext4";
  const sdk::testing::CapturedFiles files = Capture("virtual_machine");
  ScannedMachine machine(files, probe);
  for (const auto& disk : ScanDisks(machine, false)) {
    const auto resources = disk->Resources({});
    ASSERT_EQ(resources.size(), disk->Facts().kernelName == "vda" ? 1U : 0U);
    if (resources.empty()) continue;
    EXPECT_EQ(Text(resources[0]),
              "PARTITION PARTITION_TYPE=PRIMARY MOUNT_POINT=/ FILE_SYSTEM=ext4 LABEL= "
              "SIZE=21474836480 USED=1000 FREE=24 INDEX=0");
  }
}

// Three virtio disks with one partition each, and the search for them.
struct ThreeDisks {
  ThreeDisks() {
    for (const char* name : {"vda", "vdb", "vdc"}) {
      probe.facts["/dev/" + std::string(name) + '1'].fileSystem = "ext4";
    }
  }
  static std::string Text() {
    std::string text;
    for (const char* name : {"vda", "vdb", "vdc"}) {
      const std::string folder = "f /sys/block/" + std::string(name) + '/';
      const std::string part = folder + name + "1/";
      text += folder + "size 2048\n" + part + "partition 1\n" + part + "size 1024\n";
    }
    return text;
  }
  ListedProbe probe;
  const sdk::testing::CapturedFiles files{Text()};
  ScannedMachine machine{files, probe};
};

TEST(DiskContents, NoDiskIsLookedAtBeforeSomebodyWantsToKnow) {
  ThreeDisks three;
  const auto disks = ScanDisks(three.machine, false);
  ASSERT_EQ(disks.size(), 3U);
  for (const auto& disk : disks) disk->Information();
  EXPECT_TRUE(three.probe.asked.empty());
}

TEST(DiskContents, TheFirstQuestionLooksAtAllDisksAndTheOthersAtNone) {
  ThreeDisks three;
  const auto disks = ScanDisks(three.machine, false);
  disks[2]->Resources({});
  EXPECT_EQ(three.probe.asked, (Names{"/dev/vda1@", "/dev/vdb1@", "/dev/vdc1@", "/dev/vda@",
                                      "/dev/vdb@", "/dev/vdc@"}));
  for (const auto& disk : disks) {
    ASSERT_EQ(disk->Resources({}).size(), 1U);
    EXPECT_NE(Text(disk->Resources({})[0]).find("FILE_SYSTEM=ext4"), std::string::npos);
  }
  EXPECT_EQ(three.probe.asked.size(), 6U);
}

TEST(DiskContents, WhoWantsToKnowOfOneDiskLeavesTheOthersAlone) {
  ThreeDisks three;
  const auto disks = ScanDisks(three.machine, false);
  const auto partitions = disks[1]->Partitions(ContentLook::kThis, {});
  EXPECT_EQ(three.probe.asked, (Names{"/dev/vdb1@", "/dev/vdb@"}));
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].fileSystem, "ext4");
}

TEST(DiskContents, AfterAStopWhatIsKnownWithoutALookIsAll) {
  ThreeDisks three;
  const auto disks = ScanDisks(three.machine, false);
  std::stop_source stop;
  stop.request_stop();
  const auto resources = disks[0]->Resources(stop.get_token());
  ASSERT_EQ(resources.size(), 1U);
  EXPECT_NE(Text(resources[0]).find("FILE_SYSTEM= LABEL= SIZE=524288"), std::string::npos);
  EXPECT_TRUE(three.probe.asked.empty());
}

}  // namespace
}  // namespace orvan::storage
