// Scans of machines on which something could not be looked at.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/modules/storage/disk_scan.h"

namespace orvan::storage {
namespace {

// Knows nothing of any file system, and counts how often it is asked.
class CountingProbe final : public machine::FilesystemProbe {
 public:
  std::optional<machine::FilesystemFacts> Probe(const std::string&, const std::string&,
                                                std::stop_token) override {
    ++asked;
    return machine::FilesystemFacts();
  }
  int asked = 0;
};

using Disks = std::vector<std::unique_ptr<Disk>>;

std::string Desktop() {
  const machine::LiveFiles files(TARVEX_SOURCE_DIR "/service/modules/storage/testdata");
  const auto text = files.ReadBytes("/desktop.capture", 1 << 20);
  EXPECT_TRUE(text);
  return text.value_or("");
}

Disks ScanOf(const std::string& capture) {
  CountingProbe probe;
  return ScanDisks(machine::CapturedFiles(capture), probe, true, {});
}

// The desktop with one more line: what is told last of a path is what it answers.
Disks ScanWith(const std::string& line) {
  return ScanOf(Desktop() + '\n' + line + '\n');
}

std::vector<std::string> Names(const Disks& disks) {
  std::vector<std::string> names;
  for (const auto& disk : disks) {
    EXPECT_EQ(disk->Id(), std::to_string(names.size()));
    names.push_back(disk->Facts().kernelName);
  }
  return names;
}

std::map<std::string, std::string> Entries(const Disk& disk) {
  std::map<std::string, std::string> entries;
  for (const auto& [value, label] : disk.Information().entries) entries[label] = value;
  return entries;
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

TEST_P(EveryAttribute, ThatCannotBeReadCostsNoDiskItsPlace) {
  const auto& [index, name] = GetParam();
  for (const auto& [error, words] :
       std::map<int, std::string>{{EACCES, "error 13 (permission denied)"},
                                  {EMFILE, "error 24 (too many open files)"},
                                  {EIO, "error 5 (input/output error)"}}) {
    const Disks disks = ScanWith("e " + FolderOf(index) + '/' + name + ' ' + std::to_string(error));
    ASSERT_EQ(Names(disks), kDesktop) << name;
    for (int i = 0; i < static_cast<int>(disks.size()); ++i) {
      const Disk& disk = *disks[static_cast<std::size_t>(i)];
      EXPECT_EQ(disk.WhyUntestable().has_value(), i == index) << name << ' ' << i;
      EXPECT_TRUE(disk.Information().properties.contains("NonRotatingMedia"));
      if (i == index) {
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

TEST(ScanTrouble, AnUnboundLoopDeviceIsNoDiskWhateverItsAttributesAnswer) {
  EXPECT_TRUE(ScanOf("f /sys/block/loop1/dev 7:1\ne /sys/block/loop1/size 24\n"
                     "e /sys/block/loop1/hidden 24\n")
                  .empty());
}

TEST(ScanTrouble, AHiddenPathStaysHidden) {
  EXPECT_TRUE(ScanOf("f /sys/block/nvme0c1n1/dev 259:1\nf /sys/block/nvme0c1n1/size 8\n"
                     "e /sys/block/nvme0c1n1/hidden 13\n")
                  .empty());
}

TEST(ScanTrouble, OtherDevicesMayAnswerWhatTheyLike) {
  EXPECT_EQ(Names(ScanWith("e /sys/block/zram0/hidden 5\ne /sys/block/sr0/size 13")), kDesktop);
}

TEST(ScanTrouble, TwoRoadsLeadToADisksPlace) {
  const std::string folder = FolderOf(kSda);
  const Disks disks = ScanWith("b /sys/block/sda 5\nl /sys/class/block/sda " + folder);
  EXPECT_EQ(Names(disks), kDesktop);
  EXPECT_EQ(disks[kSda]->WhyUntestable(), std::nullopt);
}

// Which disk has which id hangs on all places, so none may be tested under a wrong one.
TEST(ScanTrouble, APlaceThatCannotBeMadeOutPutsAllIdsInDoubt) {
  const Disks disks = ScanWith("b /sys/block/sda 5\nb /sys/class/block/sda 5");
  ASSERT_EQ(disks.size(), kDesktop.size());
  for (const auto& disk : disks) {
    const bool isIt = disk->Facts().kernelName == "sda";
    EXPECT_EQ(disk->WhyUntestable(),
              isIt ? "|THE_DISK_COULD_NOT_BE_LOOKED_AT:_hardware_path,_ERROR_5_"
                     "(INPUT/OUTPUT_ERROR)"
                   : "|THE_PLACE_OF_DISK_sda_COULD_NOT_BE_MADE_OUT,_SO_ALL_IDS_ARE_IN_DOUBT");
    EXPECT_EQ(Entries(*disk)["COULD_NOT_BE_READ"],
              isIt ? "hardware path: error 5 (input/output error)" : "the place of sda");
  }
}

TEST(ScanTrouble, APortThatCannotBeReadPutsAllIdsInDoubt) {
  const std::string folder = FolderOf(kSda);
  const std::size_t ata = folder.find("/ata");
  ASSERT_NE(ata, std::string::npos);
  const std::string port = folder.substr(ata + 1, folder.find('/', ata + 1) - ata - 1);
  const Disks disks =
      ScanWith("e " + folder.substr(0, ata + 1) + port + "/ata_port/" + port + "/port_no 13");
  EXPECT_EQ(disks.size(), kDesktop.size());
  for (const auto& disk : disks) EXPECT_NE(disk->WhyUntestable(), std::nullopt);
}

// A machine whose disk "sdz" is listed, and whose link is missing for the first looks at it.
class ForgetfulFiles final : public machine::MachineFiles {
 public:
  ForgetfulFiles(const std::string& capture, int missing) : inner_(capture), missing_(missing) {}

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    return inner_.ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    if (path == "/sys/block/sdz" && missing_ > 0) {
      --missing_;
      return {};
    }
    return inner_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    if (path == "/sys/block") return {"sda", "sdz"};
    return inner_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    return inner_.Exists(path, &error);
  }
  machine::CapturedFiles inner_;
  mutable int missing_;
};

std::string TwoDisks(bool hasLast) {
  std::string text;
  const auto add = [&text](const std::string& name, const std::string& slot) {
    const std::string folder = "/sys/devices/pci0000:00/0000:00:" + slot + ".0/block/" + name;
    text += "l /sys/block/" + name + ' ' + folder + "\nl /sys/class/block/" + name + ' ' + folder +
            "\nf " + folder + "/size 8\nf " + folder + "/dev 8:0\n";
  };
  add("sda", "05");
  if (hasLast) add("sdz", "04");
  return text;
}

TEST(ScanTrouble, ALinkThatIsMissingForAMomentMovesNoId) {
  CountingProbe probe;
  for (int missing = 0; missing < 4; ++missing) {
    const Disks disks = ScanDisks(ForgetfulFiles(TwoDisks(true), missing), probe, false, {});
    EXPECT_EQ(Names(disks), (std::vector<std::string>{"sdz", "sda"})) << missing;
  }
}

TEST(ScanTrouble, ADiskThatLeftMeanwhileIsNone) {
  CountingProbe probe;
  const Disks disks = ScanDisks(ForgetfulFiles(TwoDisks(false), 0), probe, false, {});
  EXPECT_EQ(Names(disks), (std::vector<std::string>{"sda"}));
  EXPECT_EQ(disks[0]->WhyUntestable(), std::nullopt);
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
  const Disks disks =
      ScanDisks(machine::CapturedFiles("f /sys/block/vda/dev 254:0\nf /sys/block/vda/size 2048\n"
                                       "e /sys/block/vda 5\nd /sys/block\n"),
                probe, false, {});
  ASSERT_EQ(disks.size(), 1U);
  EXPECT_TRUE(disks[0]->Resources().empty());
  EXPECT_EQ(probe.asked, 0);
  EXPECT_NE(disks[0]->WhyUntestable(), std::nullopt);
}

TEST(ScanTrouble, APartitionsSizeThatCannotBeReadIsNotZero) {
  const Disks disks = OneDisk(
      "f /sys/block/vda/vda1/partition 1\nf /sys/block/vda/vda1/dev 254:1\n"
      "e /sys/block/vda/vda1/size 5\n");
  const auto resources = disks.at(0)->Resources();
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

TEST(ScanTrouble, AStopMovesNoIdButLooksAtNoFileSystemAnyMore) {
  CountingProbe probe;
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(Names(ScanDisks(machine::CapturedFiles(Desktop()), probe, true, stop.get_token())),
            kDesktop);
  EXPECT_EQ(probe.asked, 0);
}

}  // namespace
}  // namespace orvan::storage
