#include <gtest/gtest.h>

#include "service/recording/answers.h"
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
