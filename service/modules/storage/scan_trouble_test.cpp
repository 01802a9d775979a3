// Scans of machines on which something could not be looked at.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

std::string Desktop() {
  return CaptureText("desktop");
}

// The desktop with one more line: what is told last of a path is what it answers.
Disks ScanWith(const std::string& line) {
  return ScanOf(Desktop() + '\n' + line + '\n');
}

const std::vector<std::string> kDesktop = {"sdc", "nvme0n1", "sda", "sdb", "loop2", "loop10"};
constexpr int kSda = 2;
constexpr int kNvme = 1;
constexpr int kLoop2 = 4;

std::string FolderOf(int disk) {
  return ScanOf(Desktop()).at(static_cast<std::size_t>(disk))->Facts().folder;
}

TEST(ScanTrouble, AWholeMachineHasNone) {
  const Disks disks = ScanOf(Desktop());
  EXPECT_EQ(Names(disks), kDesktop);
  for (const auto& disk : disks) {
    EXPECT_EQ(disk->WhyUntestable(), std::nullopt);
    EXPECT_FALSE(Entries(*disk).contains("COULD_NOT_BE_READ"));
  }
}

struct Attribute {
  int disk;
  const char* name;
};

class EveryAttribute : public testing::TestWithParam<Attribute> {};

// Whether a disk that has no such attribute is whole nevertheless.
bool MayBeMissing(const std::string& name) {
  return name != "dev" && name != "size" && name != "loop/backing_file";
}

TEST_P(EveryAttribute, ThatCannotBeReadCostsNoDiskItsPlace) {
  const auto& [index, name] = GetParam();
  for (const auto& [error, words] :
       std::map<int, std::string>{{ENOENT, "error 2 (no such file)"},
                                  {EACCES, "error 13 (permission denied)"},
                                  {EMFILE, "error 24 (too many open files)"},
                                  {EIO, "error 5 (input/output error)"}}) {
    const Disks disks = ScanOf(HidingFiles(Desktop(), {{FolderOf(index) + '/' + name, error}}));
    ASSERT_EQ(Names(disks), kDesktop) << name << ' ' << error;
    for (int i = 0; i < static_cast<int>(disks.size()); ++i) {
      const Disk& disk = *disks[static_cast<std::size_t>(i)];
      const bool isIt = i == index && !(error == ENOENT && MayBeMissing(name));
      EXPECT_EQ(disk.WhyUntestable().has_value(), isIt) << name << ' ' << error << ' ' << i;
      EXPECT_TRUE(disk.Information().properties.contains("NonRotatingMedia"));
      if (isIt) {
        EXPECT_EQ(Entries(disk)["COULD_NOT_BE_READ"], std::string(name) + ": " + words);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryAttribute,
                         testing::Values(Attribute{kSda, "hidden"}, Attribute{kSda, "dev"},
                                         Attribute{kSda, "size"},
                                         Attribute{kSda, "queue/logical_block_size"},
                                         Attribute{kSda, "queue/physical_block_size"},
                                         Attribute{kSda, "queue/rotational"},
                                         Attribute{kNvme, "hidden"}, Attribute{kNvme, "wwid"},
                                         Attribute{kLoop2, "loop/backing_file"},
                                         Attribute{kLoop2, "size"}));

TEST(ScanTrouble, TheTestsAreInvalidForAReasonThatIsNamed) {
  const Disks disks = ScanWith("e " + FolderOf(kSda) + "/queue/rotational 13");
  EXPECT_EQ(disks[kSda]->WhyUntestable(),
            "|THE_DISK_COULD_NOT_BE_LOOKED_AT:_queue/rotational,_ERROR_13_(PERMISSION_DENIED)");
}

TEST(ScanTrouble, WhatCouldNotBeReadIsNotShownAsAFact) {
  const std::string folder = FolderOf(kSda);
  const Disks disks = ScanWith("e " + folder + "/queue/rotational 5\ne " + folder + "/size 5\ne " +
                               folder + "/queue/logical_block_size 5");
  const auto entries = Entries(*disks[kSda]);
  for (const char* label : {"MEDIA_TYPE", "SIZE", "LOGICAL_SECTOR_SIZE"}) {
    EXPECT_FALSE(entries.contains(label)) << label;
  }
  EXPECT_EQ(entries.at("MODEL"), "Samsung SSD 860");
  EXPECT_EQ(disks[kSda]->Information().properties.at("NonRotatingMedia"), "UNABLE_TO_OBTAIN");
}

TEST(ScanTrouble, OfManyTheFirstAreNamed) {
  std::string lines;
  for (const char* name :
       {"size", "dev", "hidden", "queue/rotational", "queue/logical_block_size"}) {
    lines += "e " + FolderOf(kSda) + '/' + name + " 13\n";
  }
  EXPECT_TRUE(Entries(*ScanWith(lines)[kSda])["COULD_NOT_BE_READ"].ends_with("), ..."));
}

// One virtio disk with these attributes besides its number and size.
Disks OneDisk(const std::string& lines) {
  return ScanOf("f /sys/block/vda/dev 254:0\nf /sys/block/vda/size 2048\n" + lines);
}

TEST(ScanTrouble, WhatADiskNeverHadRaisesNoAlarm) {
  const Disks disks = OneDisk("");
  ASSERT_EQ(disks.size(), 1U);
  EXPECT_EQ(disks[0]->WhyUntestable(), std::nullopt);
  EXPECT_FALSE(Entries(*disks[0]).contains("MEDIA_TYPE"));
  EXPECT_EQ(disks[0]->Information().properties.at("NonRotatingMedia"), "UNABLE_TO_OBTAIN");
}

TEST(ScanTrouble, WhatEveryDiskHasMayNotBeMissing) {
  for (const char* name : {"dev", "size"}) {
    const std::string other = name == std::string("dev") ? "size 2048" : "dev 254:0";
    const Disks disks = ScanOf("f /sys/block/vda/" + other + '\n');
    ASSERT_EQ(disks.size(), 1U);
    EXPECT_EQ(Entries(*disks[0])["COULD_NOT_BE_READ"],
              std::string(name) + ": error 2 (no such file)");
  }
  const Disks loops = ScanOf(
      "f /sys/block/loop0/dev 7:0\nf /sys/block/loop0/size 8\nd /sys/block/loop0/loop\n"
      "f /sys/block/loop1/dev 7:1\nf /sys/block/loop1/size 0\n");
  ASSERT_EQ(loops.size(), 1U);
  EXPECT_EQ(Entries(*loops[0])["COULD_NOT_BE_READ"], "loop/backing_file: error 2 (no such file)");
}

TEST(ScanTrouble, WhatIsThereAndSaysNothingOfUseIsNotCalledMissing) {
  for (const auto& [name, said] : std::vector<std::pair<std::string, std::string>>{
           {"dev", "254"}, {"dev", "0:0"}, {"size", "many"}, {"size", "-8"}}) {
    const Disks disks = OneDisk("f /sys/block/vda/" + name + ' ' + said + '\n');
    EXPECT_EQ(Entries(*disks.at(0))["COULD_NOT_BE_READ"], name + ": no usable value") << said;
    EXPECT_EQ(disks[0]->WhyUntestable(),
              "|THE_DISK_COULD_NOT_BE_LOOKED_AT:_" + name + ",_NO_USABLE_VALUE")
        << said;
  }
}

TEST(ScanTrouble, AHiddenPathStaysHidden) {
  EXPECT_TRUE(ScanOf("f /sys/block/nvme0c1n1/dev 259:1\nf /sys/block/nvme0c1n1/size 8\n"
                     "e /sys/block/nvme0c1n1/hidden 13\n")
                  .empty());
}

TEST(ScanTrouble, OtherDevicesMayAnswerWhatTheyLike) {
  EXPECT_EQ(Names(ScanWith("e /sys/block/zram0/hidden 5\ne /sys/block/sr0/size 13")), kDesktop);
}

TEST(ScanTrouble, AListOfDisksThatCannotBeHadIsNoEmptyOne) {
  for (const auto& [capture, words] : std::map<std::string, std::string>{
           {"e /sys/block 13\n", "/sys/block: error 13 (permission denied)"},
           {"e /sys/block 24\n", "/sys/block: error 24 (too many open files)"},
           {"d /proc\n", "/sys/block: error 2 (no such file)"}}) {
    try {
      ScanOf(capture);
      ADD_FAILURE() << capture;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), words);
    }
  }
}

TEST(ScanTrouble, PartitionsThatCannotBeListedAreNotTakenForNone) {
  CountingProbe probe;
  const sdk::testing::CapturedFiles files(
      "f /sys/block/vda/dev 254:0\nf /sys/block/vda/size 2048\n"
      "e /sys/block/vda 5\nd /sys/block\n");
  ScannedMachine machine(files, probe);
  const Disks disks = ScanDisks(machine, false);
  ASSERT_EQ(disks.size(), 1U);
  EXPECT_TRUE(disks[0]->Resources({}).empty());
  EXPECT_EQ(probe.asked, 0);
  EXPECT_NE(disks[0]->WhyUntestable(), std::nullopt);
}

TEST(ScanTrouble, APartitionsSizeThatCannotBeReadIsNotZero) {
  CountingProbe probe;
  const sdk::testing::CapturedFiles files(
      "f /sys/block/vda/dev 254:0\nf /sys/block/vda/size 2048\n"
      "f /sys/block/vda/vda1/partition 1\nf /sys/block/vda/vda1/dev 254:1\n"
      "e /sys/block/vda/vda1/size 5\n");
  ScannedMachine machine(files, probe);
  const Disks disks = ScanDisks(machine, false);
  const auto resources = disks.at(0)->Resources({});
  ASSERT_EQ(resources.size(), 1U);
  for (const auto& [label, value] : resources[0].pairs) {
    if (label == "SIZE") {
      EXPECT_EQ(value, "UNABLE_TO_OBTAIN");
    }
  }
}

TEST(ScanTrouble, WhatTheDeviceManagerAndTheMountTableHideKeepsNobodyFromReading) {
  const Disks disks =
      OneDisk("e /proc/self/mountinfo 13\ne /run/udev/data/b254:0 13\nd /sys/block\n");
  EXPECT_EQ(disks.at(0)->WhyUntestable(), std::nullopt);
}

TEST(ScanTrouble, AMediumsSequenceNumberThatCannotBeReadIsUnknownAndKeepsNobodyFromReading) {
  const Disks disks = OneDisk("e /sys/block/vda/diskseq 5\n");
  EXPECT_EQ(disks.at(0)->WhyUntestable(), std::nullopt);
  EXPECT_EQ(disks.at(0)->Facts().diskSequence, 0U);
}

}  // namespace
}  // namespace orvan::storage
