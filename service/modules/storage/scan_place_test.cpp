// Scans of machines on which the place of a disk among the others is not plain.
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

const std::string kPci = "/sys/devices/pci0000:00/0000:00:";
const std::string kSubsystem = "/sys/devices/virtual/nvme-subsystem/nvme-subsys0";

TEST(ScanPlace, TwoRoadsLeadToADisksPlace) {
  const std::string folder = kPci + "1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";
  const Disks disks = ScanOf(CaptureText("desktop") +
                             "\nb /sys/block/sda 5\nl /sys/class/block/sda " + folder + '\n');
  EXPECT_EQ(Names(disks), Names(ScanOf(CaptureText("desktop"))));
  EXPECT_EQ(disks[2]->WhyUntestable(), std::nullopt);
}

// Which disk has which id hangs on all places, so none may be tested under a wrong one.
TEST(ScanPlace, APlaceThatCannotBeMadeOutPutsAllIdsInDoubt) {
  const Disks disks =
      ScanOf(CaptureText("desktop") + "\nb /sys/block/sda 5\nb /sys/class/block/sda 5\n");
  ASSERT_EQ(disks.size(), 6U);
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

// What a place of that captured machine hangs on.
struct Attribute {
  const char* capture;
  std::string path;
};

class EveryPlace : public testing::TestWithParam<Attribute> {};

TEST_P(EveryPlace, ThatCannotBeMadeOutPutsAllIdsInDoubt) {
  const std::string capture = CaptureText(GetParam().capture);
  const std::vector<std::string> whole = Names(ScanOf(capture));
  for (const int error : {ENOENT, EACCES, EMFILE, EIO}) {
    const Disks disks = ScanOf(HidingFiles(capture, {{GetParam().path, error}}));
    EXPECT_EQ(disks.size(), whole.size()) << error;
    for (const auto& disk : disks) {
      EXPECT_NE(disk->WhyUntestable(), std::nullopt) << error << ' ' << disk->Facts().kernelName;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, EveryPlace,
    testing::Values(Attribute{"desktop", kPci + "1f.2/ata1/ata_port/ata1/port_no"},
                    Attribute{"desktop", kPci + "14.0/usb2/speed"},
                    Attribute{"desktop", kPci + "1d.0/0000:01:00.0/nvme/nvme0/nvme0n1/nsid"},
                    Attribute{"server", kSubsystem}, Attribute{"server", kSubsystem + "/nvme3"},
                    Attribute{"server", kSubsystem + "/nvme0n2/nsid"}));

TEST(ScanPlace, APortThatIsNoNumberIsNoPlace) {
  const std::string port = kPci + "1f.2/ata1/ata_port/ata1/port_no";
  for (const auto& [said, words] : std::map<std::string, std::string>{
           {"", "error 2 (no such file)"}, {"-", "no usable value"}, {"1 2", "no usable value"}}) {
    const Disks disks = ScanOf(CaptureText("desktop") + "\nf " + port + ' ' + said + '\n');
    for (const auto& disk : disks) EXPECT_NE(disk->WhyUntestable(), std::nullopt) << said;
    EXPECT_EQ(Entries(*disks.back())["COULD_NOT_BE_READ"], "hardware path: " + words);
  }
}

// Two loop devices, the first of them bound or not, and its attributes' errors.
Disks TwoLoops(bool isBound, const std::map<std::string, int>& errors) {
  std::string text =
      "f /sys/block/loop1/dev 7:1\nf /sys/block/loop1/size 8\n"
      "f /sys/block/loop1/loop/backing_file /srv/b\nf /sys/block/loop0/dev 7:0\n";
  text += isBound ? "f /sys/block/loop0/size 8\nf /sys/block/loop0/loop/backing_file /srv/a\n"
                  : "f /sys/block/loop0/size 0\n";
  std::map<std::string, int> hidden;
  for (const auto& [name, error] : errors) hidden["/sys/block/loop0/" + name] = error;
  return ScanOf(HidingFiles(text, hidden));
}

constexpr int kErrors[] = {ENOENT, EACCES, EMFILE, EIO};

TEST(ScanPlace, ABoundLoopDeviceKeepsItsIdWhicheverOfItsAttributesIsMissing) {
  for (const int error : kErrors) {
    for (const char* name : {"loop", "size", "loop/backing_file"}) {
      const Disks disks = TwoLoops(true, {{name, error}});
      EXPECT_EQ(Names(disks), (std::vector<std::string>{"loop0", "loop1"})) << name << ' ' << error;
      EXPECT_EQ(disks.back()->WhyUntestable(), std::nullopt) << name << ' ' << error;
    }
  }
}

TEST(ScanPlace, AnUnboundLoopDeviceIsNoDiskWhicheverOfItsAttributesCannotBeRead) {
  for (const int error : kErrors) {
    for (const char* name : {"loop", "size", "hidden"}) {
      const Disks disks = TwoLoops(false, {{name, error}});
      EXPECT_EQ(Names(disks), std::vector<std::string>{"loop1"}) << name << ' ' << error;
      EXPECT_EQ(disks.back()->WhyUntestable(), std::nullopt) << name << ' ' << error;
    }
  }
}

TEST(ScanPlace, ALoopDeviceOfWhichNothingCanBeReadPutsAllIdsInDoubt) {
  for (const bool isBound : {false, true}) {
    for (const int error : {EACCES, EMFILE, EIO}) {
      const Disks disks =
          TwoLoops(isBound, {{"size", error}, {"loop", error}, {"loop/backing_file", error}});
      ASSERT_EQ(disks.size(), 2U) << error;
      for (const auto& disk : disks) EXPECT_NE(disk->WhyUntestable(), std::nullopt) << error;
    }
  }
}

// A machine whose disk "sdz" is listed, and whose link is missing for the first looks at it.
class ForgetfulFiles final : public sdk::MachineFiles {
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
  sdk::testing::CapturedFiles inner_;
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

TEST(ScanPlace, ALinkThatIsMissingForAMomentMovesNoId) {
  CountingProbe probe;
  for (int missing = 0; missing < 4; ++missing) {
    const Disks disks = ScanDisks(ForgetfulFiles(TwoDisks(true), missing), probe, false);
    EXPECT_EQ(Names(disks), (std::vector<std::string>{"sdz", "sda"})) << missing;
  }
}

TEST(ScanPlace, ADiskThatLeftMeanwhileIsNone) {
  CountingProbe probe;
  const Disks disks = ScanDisks(ForgetfulFiles(TwoDisks(false), 0), probe, false);
  EXPECT_EQ(Names(disks), (std::vector<std::string>{"sda"}));
  EXPECT_EQ(disks[0]->WhyUntestable(), std::nullopt);
}

// A machine whose only disk is pulled out once its folder was seen, without its namespace.
class LeavingFiles final : public sdk::MachineFiles {
 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    return inner_.ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    return inner_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    return inner_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    const bool isSeen = path != kPci + "05.0/nvme/nvme0/nvme0n1" || !std::exchange(wasSeen_, true);
    return isSeen && inner_.Exists(path, &error);
  }
  sdk::testing::CapturedFiles inner_{
      "l /sys/block/nvme0n1 " + kPci + "05.0/nvme/nvme0/nvme0n1\nf " + kPci +
      "05.0/nvme/nvme0/nvme0n1/dev 259:0\nf " + kPci + "05.0/nvme/nvme0/nvme0n1/size 8\n"};
  mutable bool wasSeen_ = false;
};

// Counts how often each path is asked for.
class CountedFiles final : public sdk::MachineFiles {
 public:
  explicit CountedFiles(const std::string& capture) : inner_(capture) {}
  mutable std::map<std::string, int> asked;

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    ++asked["read " + path];
    return inner_.ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    ++asked["link " + path];
    return inner_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    ++asked["list " + path];
    return inner_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    ++asked["exists " + path];
    return inner_.Exists(path, &error);
  }
  sdk::testing::CapturedFiles inner_;
};

TEST(ScanPlace, TheHardwareOfADiskIsMadeOutOnce) {
  const CountedFiles files(CaptureText("server"));
  EXPECT_EQ(Names(ScanOf(files)),
            (std::vector<std::string>{"sdr", "sdq", "nvme0n2", "nvme0n10", "mmcblk0"}));
  const std::string subsystem = "/sys/devices/virtual/nvme-subsystem/nvme-subsys0";
  // Once for each of its two disks, as are the place and the attributes of each.
  EXPECT_EQ(files.asked["list " + subsystem], 2);
  EXPECT_EQ(files.asked["link " + subsystem + "/nvme3"], 2);
  for (const char* disk : {"/nvme0n2", "/nvme0n10"}) {
    EXPECT_EQ(files.asked["read " + subsystem + disk + "/nsid"], 1) << disk;
    EXPECT_EQ(files.asked["read " + subsystem + disk + "/wwid"], 1) << disk;
  }
}

TEST(ScanPlace, ADiskThatLeftBeforeItsPlaceWasMadeOutIsNone) {
  EXPECT_TRUE(ScanOf(LeavingFiles()).empty());
}

}  // namespace
}  // namespace orvan::storage
