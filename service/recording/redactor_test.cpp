#include "service/recording/redactor.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using sdk::testing::CapturedFiles;
using sdk::testing::FaultyMachine;

TEST(RedactorTest, KnowsWhatItSawWhenItLookedAround) {
  Redactor redactor(KeyOf(1));
  redactor.LookAround(
      CapturedFiles("f /sys/block/vda/serial VDISK0042X\\x0a\n"
                    "f /etc/hostname workshop-7\\x0a\n"
                    "f /dev/disk/by-uuid/1A2B-3C4D \n"));
  EXPECT_EQ(redactor.Text("VDISK0042X").find("VDISK0042X"), std::string::npos);
  EXPECT_EQ(redactor.Text("//workshop-7/share").find("workshop"), std::string::npos);
  EXPECT_EQ(redactor.Text("volume 1A2B-3C4D").find("1A2B"), std::string::npos);
}

TEST(RedactorTest, GivesBackTheNamesThatItShowed) {
  Redactor redactor(KeyOf(1));
  const std::vector<std::string> real = {"ata-QEMU_HARDDISK_QM0000123",
                                         "ata-QEMU_HARDDISK_QM0000456", "virtio-a1"};
  const std::vector<std::string> shown = redactor.Names("/dev/disk/by-id", real);
  ASSERT_EQ(shown.size(), 3U);
  EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
  std::set<std::string> back;
  for (const std::string& name : shown)
    back.insert(redactor.RevealedPath("/dev/disk/by-id/" + name));
  std::set<std::string> wanted;
  for (const std::string& name : real) wanted.insert("/dev/disk/by-id/" + name);
  EXPECT_EQ(back, wanted);
}

// Two processes that know nothing of each other give the same value the same stand-in.
TEST(RedactorTest, AgreesWithAnotherOneOfTheSameRecording) {
  Redactor one(KeyOf(1));
  Redactor other(KeyOf(1));
  other.Text("UUID=123e4567-e89b-12d3-a456-426614174000");
  for (const char* text : {"naa.5000c500a1b2c3d4", "52:54:00:12:34:56"}) {
    EXPECT_EQ(one.Text(text), other.Text(text));
  }
  EXPECT_EQ(one.FileContent("/a/serial", "S466NX0K123456\n"),
            other.FileContent("/b/serial", "S466NX0K123456\n"));
}

// A machine with secrets in the places where machines have them, drawn at random.
class Planted {
 public:
  explicit Planted(unsigned seed) : random_(seed) {
    for (int disk = 0; disk < 3; ++disk)
      PlantDisk("sd" + std::string(1, static_cast<char>('a' + disk)));
    const std::string host = Plant(Letters(9));
    const std::string id = Plant(Hex(32));
    const std::string mac = Pairs(Plant(Hex(12)));
    secrets_.insert(mac);
    File("/etc/machine-id", id + "\n");
    File("/proc/sys/kernel/hostname", host + "\n");
    File("/sys/class/net/eth0/address", mac + "\n");
    File("/sys/class/dmi/id/product_serial", Plant(Serial()) + "\n");
    File("/sys/class/dmi/id/product_uuid", Plant(Uuid()) + "\n");
    File("/proc/self/mountinfo", "36 35 0:50 / /mnt rw - nfs4 " + host + ":/export rw\n");
    File("/proc/cmdline", "root=UUID=" + Plant(Uuid()) + " ro\n");
    File("/run/log", "mac " + mac + " of " + host + ", machine " + id + "\n");
  }

  std::unique_ptr<FaultyMachine> Machine() const {
    auto machine = std::make_unique<FaultyMachine>(std::make_unique<CapturedFiles>(capture_));
    machine->commands = commands_;
    for (const std::string& secret : secrets_) {
      machine->fileSystems["/dev/sda1"] = {"gpt", "ext4", "label " + secret, {}};
    }
    return machine;
  }
  // In every form in which they may turn up.
  std::set<std::string> Forms() const {
    std::set<std::string> forms;
    for (const std::string& secret : secrets_) {
      std::string lower, upper, hex, swapped = secret + std::string(secret.size() % 2, ' ');
      for (const char c : secret) {
        lower += static_cast<char>(std::tolower(c));
        upper += static_cast<char>(std::toupper(c));
        hex += {"0123456789abcdef"[static_cast<unsigned char>(c) >> 4],
                "0123456789abcdef"[static_cast<unsigned char>(c) & 15]};
      }
      for (std::size_t i = 0; i < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
      while (swapped.back() == ' ') swapped.pop_back();
      forms.insert({secret, lower, upper, hex, swapped, Base64(secret)});
    }
    return forms;
  }
  const std::vector<std::string>& Files() const { return files_; }
  static constexpr const char* kFolders[] = {"/dev/disk/by-id", "/dev/disk/by-uuid", "/sys/block"};

 private:
  std::string From(const char* characters, std::size_t count) {
    std::string text;
    const std::string all(characters);
    for (std::size_t i = 0; i < count; ++i) text += all[random_() % all.size()];
    return text;
  }
  std::string Hex(std::size_t count) { return From("0123456789abcdef", count); }
  std::string Letters(std::size_t count) { return From("abcdefghijklmnopqrstuvwxyz", count); }
  std::string Serial() { return From("ABCDEFGHJKLMNPQRSTUVWXYZ0123456789", 8 + random_() % 8); }
  std::string Uuid() { return Hex(8) + '-' + Hex(4) + '-' + Hex(4) + '-' + Hex(4) + '-' + Hex(12); }
  static std::string Pairs(const std::string& digits) {
    std::string text;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
      text += (i == 0 ? "" : ":") + digits.substr(i, 2);
    }
    return text;
  }
  static std::string Base64(const std::string& text) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i + 2 < text.size(); i += 3) {
      const unsigned bits = static_cast<unsigned char>(text[i]) << 16 |
                            static_cast<unsigned char>(text[i + 1]) << 8 |
                            static_cast<unsigned char>(text[i + 2]);
      for (const int shift : {18, 12, 6, 0}) out += kDigits[bits >> shift & 63];
    }
    return out;
  }
  std::string Plant(const std::string& secret) {
    secrets_.insert(secret);
    return secret;
  }
  void File(const std::string& path, const std::string& content) {
    std::string escaped;
    for (const char c : content) {
      const auto byte = static_cast<unsigned char>(c);
      escaped += "\\x";
      escaped += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    capture_ += "f " + path + ' ' + escaped + '\n';
    files_.push_back(path);
  }
  void PlantDisk(const std::string& name) {
    const std::string serial = Plant(Serial());
    const std::string wwn = Plant("5" + Hex(15));
    const std::string uuid = Plant(Uuid());
    const std::string folder = "/sys/block/" + name;
    File(folder + "/device/wwid", "naa." + wwn + "\n");
    File(folder + "/device/vpd_pg80", std::string("\0\x80\0\x14", 4) + serial);
    File("/run/udev/data/b8:0" + name, "S:disk/by-id/ata-MODEL_" + serial + "\nE:ID_SERIAL=MODEL_" +
                                           serial + "\nE:ID_SERIAL_SHORT=" + serial +
                                           "\nE:ID_WWN=0x" + wwn + "\nE:ID_FS_UUID=" + uuid + '\n');
    File("/dev/disk/by-id/ata-MODEL_" + serial + "-part1", "");
    File("/dev/disk/by-uuid/" + uuid, "");
    sdk::CommandAnswer answer;
    answer.outcome = sdk::CommandAnswer::Outcome::kAnswered;
    answer.data.resize(512);
    std::string padded = serial + std::string(20 - serial.size(), ' ');
    for (std::size_t i = 0; i < 20; ++i) {
      answer.data[20 + (i ^ 1)] = static_cast<std::uint8_t>(padded[i]);
    }
    for (std::size_t i = 0; i < 8; ++i) {
      answer.data[216 + (i ^ 1)] =
          static_cast<std::uint8_t>(std::stoul(wwn.substr(2 * i, 2), nullptr, 16));
    }
    const std::string device = "/dev/" + name;
    commands_.push_back(
        {[device](const sdk::DriveCommand& command) { return command.device == device; },
         answer,
         -1,
         {}});
  }

  std::mt19937 random_;
  std::string capture_;
  std::vector<std::string> files_;
  std::vector<sdk::testing::ScriptedCommand> commands_;
  std::set<std::string> secrets_;
};

// Asks for all that there is, in an order drawn at random, and gives what it was shown.
std::string AskForAll(machine::KeptMachine& machine, const Planted& planted, unsigned seed) {
  std::string shown;
  std::vector<std::string> files = planted.Files();
  std::shuffle(files.begin(), files.end(), std::mt19937(seed));
  for (const std::string& path : files) {
    shown += machine.Files().ReadBytes(path, 4096).value_or("") + '\n';
  }
  for (const char* folder : Planted::kFolders) {
    for (const std::string& name : machine.Files().List(folder)) {
      shown += name + '\n';
      shown += machine.Files().Exists(std::string(folder) + '/' + name) ? "there\n" : "not there\n";
    }
  }
  const auto probe = machine.MakeProbe(std::chrono::seconds(1));
  shown += probe->Probe("/dev/sda1", "", std::chrono::seconds(1), {})->label;
  for (const char* device : {"/dev/sda", "/dev/sdb", "/dev/sdc"}) {
    sdk::DriveCommand command;
    command.device = device;
    command.command =
        sdk::AtaCommand{sdk::AtaCommand::Protocol::kPioIn, false, 0, 1, 0, 0, 0xEC, false};
    command.direction = sdk::DataDirection::kFromDevice;
    command.bytesIn = 512;
    const sdk::CommandAnswer answer = machine.Send(command, {});
    shown.append(answer.data.begin(), answer.data.end());
  }
  return shown;
}

TEST(RedactorTest, NoSecretOfAMachineIsInItsRecording) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    const Planted planted(seed);
    const TestTape tape;
    const std::string shown = AskForAll(*tape.Record(planted.Machine()), planted, seed);
    const std::string text = tape.Text();
    EXPECT_EQ(shown.find("not there"), std::string::npos);
    EXPECT_GT(text.size(), 4000U);
    // What is escaped in the file is looked at as it is, too: `shown` holds all the answers.
    for (const std::string& form : planted.Forms()) {
      EXPECT_EQ(text.find(form), std::string::npos)
          << seed << ' ' << form
          << text.substr(std::min(text.find(form), text.size()) > 100 ? text.find(form) - 100 : 0,
                         200);
      EXPECT_EQ(shown.find(form), std::string::npos) << seed << ' ' << form;
    }
  }
}

TEST(RedactorTest, TheReplayShowsWhatTheRecordedRunShowed) {
  for (unsigned seed = 0; seed < 10; ++seed) {
    const Planted planted(seed);
    const TestTape tape;
    const std::string shown = AskForAll(*tape.Record(planted.Machine()), planted, seed);
    EXPECT_TRUE(AskForAll(*tape.Replay(), planted, seed) == shown) << seed;
  }
}

}  // namespace
}  // namespace orvan::recording
