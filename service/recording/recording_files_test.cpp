#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/recording/answers.h"
#include "service/recording/redactor.h"
#include "service/sdk/read_errors.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

using sdk::testing::CapturedFiles;
using sdk::testing::FaultyMachine;

constexpr char kTable[] = "UUID=6c1f0a52-90f1-4c11-8f0b-aa5b3c7e9d10 / ext4 defaults 0 1\n";

std::unique_ptr<FaultyMachine> MakeFaulty(const std::string& files = {}) {
  return std::make_unique<FaultyMachine>(std::make_unique<CapturedFiles>(files));
}

// What a repair would write back to a disk, with what looks like secrets.
std::string Block() {
  std::string block(4096, '\0');
  return block.replace(100, sizeof kTable - 1, kTable);
}

std::optional<std::string> StateOf(machine::KeptMachine& machine, const char* name, int& error) {
  return machine.State().Read(name, error);
}

TEST(RecordingStateTest, GivesBackWhatWasStoredByteForByte) {
  auto inner = MakeFaulty("f /etc/hostname workshop-7\\x0a\n");
  FaultyMachine& machine = *inner;
  machine.state.files["earlier"] = Block();
  const TestTape tape;
  const auto recorded = tape.Record(std::move(inner));
  int error = 0;
  EXPECT_EQ(StateOf(*recorded, "earlier", error), Block());
  for (const std::string& content :
       {Block(), std::string(kTable), std::string("workshop-7"), std::string("plain"),
        // The stand-in of a name, as the module was shown it.
        recorded->Files().ReadBytes("/etc/hostname", 64).value_or("")}) {
    EXPECT_EQ(recorded->State().Replace("journal", content), 0);
    EXPECT_EQ(StateOf(*recorded, "journal", error), content);
    EXPECT_EQ(recorded->State().Append("journal", content), 0);
    EXPECT_EQ(StateOf(*recorded, "journal", error), content + content);
    EXPECT_EQ(machine.state.files["journal"], content + content);
  }
}

TEST(RecordingStateTest, IsToldOnlyWhereItShowsNothing) {
  auto inner = MakeFaulty();
  inner->state.files = {{"block", Block()},
                        {"table", kTable},
                        {"plain", "left by an earlier run\n"},
                        {"long", std::string((64U << 10) + 1, 'x')}};
  const TestTape tape;
  const auto recorded = tape.Record(std::move(inner));
  int error = 0;
  for (const char* name : {"block", "table", "plain", "long"}) StateOf(*recorded, name, error);
  EXPECT_EQ(tape.Text().find("6c1f0a52"), std::string::npos);
  EXPECT_EQ(tape.Text().find("xxxx"), std::string::npos);
  const auto replay = tape.Replay();
  EXPECT_EQ(StateOf(*replay, "plain", error), "left by an earlier run\n");
  for (const char* name : {"block", "table", "long"}) {
    EXPECT_EQ(StateOf(*replay, name, error), std::nullopt) << name;
    EXPECT_EQ(error, sdk::kNotRecorded) << name;
  }
}

// Remembers from where each file was read.
class WatchedPlaces final : public sdk::MachineFiles {
 public:
  explicit WatchedPlaces(const std::string& files) : inner_(files) {}
  mutable std::vector<std::uint64_t> begins;

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    begins.push_back(0);
    return inner_.ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                      std::size_t size, int& error) const override {
    begins.push_back(offset);
    return inner_.ReadAt(path, offset, size, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    return inner_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    return inner_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    return inner_.Exists(path, &error);
  }
  CapturedFiles inner_;
};

TEST(RecordingFilesTest, APartIsReadWhereItIs) {
  auto files = std::make_unique<WatchedPlaces>("f /sys/a/config " + std::string(9000, 'x') +
                                               "\\x01\\x02BINARY\nf /sys/a/text " +
                                               std::string(9000, 'y') + "value\\x0a\n");
  const WatchedPlaces& places = *files;
  const TestTape tape;
  const auto recorded = tape.Record(std::make_unique<FaultyMachine>(std::move(files)));
  places.begins.clear();
  EXPECT_EQ(recorded->Files().ReadAt("/sys/a/config", 9000, 2), "\x01\x02");
  EXPECT_EQ(places.begins, (std::vector<std::uint64_t>{9000}));
  places.begins.clear();
  EXPECT_EQ(recorded->Files().ReadAt("/sys/a/text", 9000, 5), "value");
  // And what stands around it, which may make it a secret.
  EXPECT_EQ(places.begins, (std::vector<std::uint64_t>{9000, 9000 - 4096}));
  const auto replay = tape.Replay();
  EXPECT_EQ(replay->Files().ReadAt("/sys/a/text", 9000, 5), "value");
  int error = 0;
  EXPECT_EQ(replay->Files().ReadAt("/sys/a/config", 9000, 2, &error), std::nullopt);
  EXPECT_EQ(error, sdk::kNotRecorded);
  EXPECT_EQ(replay->Files().ReadAt("/sys/a/text", 9000, 4, &error), std::nullopt);
  EXPECT_EQ(error, sdk::kNotRecorded);
}

TEST(RecordingFilesTest, APartOfASecretIsHiddenAsTheWholeIs) {
  const std::string table(kTable);
  const TestTape tape;
  const auto recorded =
      tape.Record(MakeFaulty("f /etc/fstab " + table.substr(0, table.size() - 1) +
                             "\\x0a\nf /sys/block/sda/serial S4EWNX0M123456\\x0a\n"
                             "f /sys/block/sdb/device/vpd_pg80 \\x00\\x80\\x00\\x08WD-77GQ1\n"));
  const sdk::MachineFiles& files = recorded->Files();
  const std::string shown = files.ReadBytes("/etc/fstab", 4096).value_or("");
  ASSERT_EQ(shown.size(), table.size());
  ASSERT_NE(shown, table);
  const std::string serial = files.ReadBytes("/sys/block/sda/serial", 4096).value_or("");
  const std::string page = files.ReadBytes("/sys/block/sdb/device/vpd_pg80", 4096).value_or("");
  for (std::uint64_t offset = 0; offset <= 20; ++offset) {
    EXPECT_EQ(files.ReadAt("/etc/fstab", offset, 7), shown.substr(offset, 7)) << offset;
  }
  EXPECT_EQ(files.ReadAt("/sys/block/sda/serial", 3, 5), serial.substr(3, 5));
  EXPECT_EQ(files.ReadAt("/sys/block/sdb/device/vpd_pg80", 5, 5), page.substr(5, 5));
  for (const char* secret : {"6c1f0a52", "1f0a", "90f1", "NX0M1", "D-77G"}) {
    EXPECT_EQ(tape.Text().find(secret), std::string::npos) << secret;
  }
  const auto replay = tape.Replay();
  EXPECT_EQ(replay->Files().ReadAt("/etc/fstab", 7, 7), shown.substr(7, 7));
}

TEST(RecordingFilesTest, APageIsToldFromItsFirstByteOnly) {
  Redactor redactor(KeyOf(1));
  EXPECT_EQ(redactor.FilePart("/sys/a/device/vpd_pg80", 1, "77GQ1-ABCDEF"), std::nullopt);
  EXPECT_EQ(redactor.FilePart("/sys/a/text", 1, "more"), "more");
}

TEST(RecordingFilesTest, NamesAreInTheirOrderAlsoWhereStandInsChangedIt) {
  Redactor redactor(KeyOf(1));
  std::vector<std::string> names;
  for (const char first : std::string("0123456789abcdef")) {
    names.push_back(std::string(1, first) + "c1f0a52-90f1-4c11-8f0b-aa5b3c7e9d10");
  }
  const std::vector<std::string> shown = redactor.Names("/dev/disk/by-uuid", names);
  EXPECT_NE(shown, names);
  EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
}

TEST(RecordingFilesTest, WhatIsNeitherTextNorAKnownPageIsPassedOnAndNotTold) {
  const TestTape tape;
  const auto recorded = tape.Record(
      MakeFaulty("f /sys/firmware/dmi/tables/DMI \\x11\\x10\\x11\\x003A5B7C9E\\x00\\x00\n"
                 "f /sys/firmware/dmi/entries/32-0/raw SECRET-7\n"
                 "f /sys/class/drm/card0/edid \\x00\\xff\\xff\\xffH4ZN512345\n"
                 "f /sys/a/config \\x01BINARY-9\n"
                 "f /sys/a/text BINARY-8\n"));
  const std::pair<const char*, std::string> kFiles[] = {
      {"/sys/firmware/dmi/tables/DMI", std::string("\x11\x10\x11\0"
                                                   "3A5B7C9E\0\0",
                                                   14)},
      {"/sys/firmware/dmi/entries/32-0/raw", "SECRET-7"},
      {"/sys/class/drm/card0/edid", std::string("\0\xff\xff\xff", 4) + "H4ZN512345"},
      {"/sys/a/config",
       "\x01"
       "BINARY-9"}};
  for (const auto& [path, content] : kFiles) {
    EXPECT_EQ(recorded->Files().ReadBytes(path, 4096), content) << path;
  }
  EXPECT_EQ(recorded->Files().ReadBytes("/sys/a/text", 4096), "BINARY-8");
  for (const char* secret : {"3A5B7C9E", "SECRET-7", "H4ZN512345", "BINARY-9"}) {
    EXPECT_EQ(tape.Text().find(secret), std::string::npos) << secret;
  }
  const auto replay = tape.Replay();
  for (const auto& [path, content] : kFiles) {
    int error = 0;
    EXPECT_EQ(replay->Files().ReadBytes(path, 4096, &error), std::nullopt) << path;
    EXPECT_EQ(error, sdk::kNotRecorded) << path;
  }
  EXPECT_EQ(replay->Files().ReadBytes("/sys/a/text", 4096), "BINARY-8");
}

}  // namespace
}  // namespace orvan::recording
