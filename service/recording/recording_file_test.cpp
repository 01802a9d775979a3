#include "service/recording/recording_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#include "service/recording/fields.h"
#include "service/recording/replay_machine.h"
#include "tests/support/test_folder.h"

namespace orvan::recording {
namespace {

namespace fs = std::filesystem;

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 0777;
}

TEST(BeginRecordingTest, ReplacesAFileAndClosesItToOthers) {
  const TestFolder folder;
  folder.Write("tape", "a longer first text than the first line of a recording");
  ASSERT_EQ(chmod((folder / "tape").c_str(), 0644), 0);
  tarvex::Descriptor file;
  EXPECT_EQ(BeginRecording(folder / "tape", file), "");
  ASSERT_EQ(write(file.Get(), "x", 1), 1);
  EXPECT_EQ(folder.Read("tape"), std::string(kFirstLine) + "x");
  EXPECT_EQ(ModeOf(folder / "tape"), 0600U);
  EXPECT_EQ(BeginRecording(folder / "new", file), "");
  EXPECT_EQ(ModeOf(folder / "new"), 0600U);
}

TEST(BeginRecordingTest, GoesOverNoLinkAndChangesNoFileWithASecondName) {
  const TestFolder folder;
  folder.Write("target", "first");
  fs::create_symlink(folder / "target", folder / "link");
  tarvex::Descriptor file;
  EXPECT_EQ(BeginRecording(folder / "link", file), std::strerror(ELOOP));
  ASSERT_EQ(chmod((folder / "target").c_str(), 0644), 0);
  fs::create_hard_link(folder / "target", folder / "second");
  EXPECT_EQ(BeginRecording(folder / "second", file), std::strerror(EMLINK));
  EXPECT_EQ(folder.Read("target"), "first");
  EXPECT_EQ(ModeOf(folder / "target"), 0644U);
  EXPECT_EQ(BeginRecording("/dev/null", file), std::strerror(EINVAL));
  EXPECT_EQ(BeginRecording(folder / "none/tape", file), std::strerror(ENOENT));
  EXPECT_FALSE(file.IsOpen());
}

TEST(BeginRecordingTest, GoesOverNoStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  const TestFolder folder;
  fs::create_directory(folder / "real");
  fs::create_symlink("real", folder / "link");
  tarvex::Descriptor file;
  ASSERT_EQ(BeginRecording(folder / "link/tape", file), "");
  ASSERT_EQ(lchown((folder / "link").c_str(), 12345, 12345), 0);
  EXPECT_EQ(BeginRecording(folder / "link/tape", file), std::strerror(ELOOP));
}

TEST(ReadRecordingTest, WhatWasCheckedCannotBeChanged) {
  const TestFolder folder;
  folder.Write("tape", std::string(kFirstLine) + "1 storage exists /a = 0 1\n");
  tarvex::Descriptor memory;
  ASSERT_EQ(ReadRecording(folder / "tape", memory), "");
  folder.Write("tape", "something else");
  // As often as there are processes.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(RecordingIn(memory, "storage")->LinesOf("storage").size(), 1U);
  }
  EXPECT_EQ(pwrite(memory.Get(), "x", 1, 0), -1);
}

TEST(ReadRecordingTest, SaysWhatIsWrong) {
  const TestFolder folder;
  tarvex::Descriptor memory;
  EXPECT_EQ(ReadRecording(folder / "none", memory), std::strerror(ENOENT));
  EXPECT_NE(ReadRecording(folder.Path(), memory), "");
  folder.Write("tape", std::string(kFirstLine) + "nonsense\n");
  EXPECT_EQ(ReadRecording(folder / "tape", memory), "line 2: a field is missing");
  fs::resize_file(folder / "tape", (128U << 20) + 1);
  EXPECT_EQ(ReadRecording(folder / "tape", memory), "it is longer than 128 MiB");
}

TEST(ReadRecordingTest, TakesNothingThatSomebodyCanChange) {
  const TestFolder folder;
  tarvex::Descriptor file;
  ASSERT_EQ(BeginRecording(folder / "tape", file), "");
  EXPECT_THROW(RecordingIn(file, "storage"), RecordingFault);
}

// Every line another access, as short as they get.
std::string ManyLines(std::size_t bytes) {
  std::string text(kFirstLine);
  for (std::size_t i = 0; text.size() < bytes; ++i) {
    text += "1 m exists /" + std::to_string(i) + " = 0 1\n";
  }
  return text;
}

int ReplayWithin(const tarvex::Descriptor& memory, std::uint64_t bytes) {
  // Source: proc(5), /proc/pid/statm: the sixth number is data and stack, in pages.
  std::ifstream statm("/proc/self/statm");
  std::uint64_t pages = 0;
  for (int i = 0; i < 6; ++i) statm >> pages;
  const rlim_t limit = pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) + bytes;
  const rlimit most{limit, limit};
  if (setrlimit(RLIMIT_DATA, &most) != 0) return 2;
  try {
    const auto machine = MakeReplayMachine({RecordingIn(memory, "m"), "m", 0});
    return machine->Files().Exists("/400000") && !machine->Files().Exists("/x") ? 0 : 1;
  } catch (const std::bad_alloc&) {
    return 3;
  }
}

TEST(ReadRecordingTest, AReplayTakesTwiceItsSizeBesideTheFile) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' own tables are larger";
#endif
  const TestFolder folder;
  constexpr std::size_t kBytes = 16U << 20;
  folder.Write("tape", ManyLines(kBytes));
  tarvex::Descriptor memory;
  ASSERT_EQ(ReadRecording(folder / "tape", memory), "");
  EXPECT_GE(MemoryOfReplay(memory), 4 * kBytes);
  EXPECT_EXIT(std::_Exit(ReplayWithin(memory, 2 * kBytes)), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvan::recording
