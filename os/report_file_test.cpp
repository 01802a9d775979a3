#include "os/report_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/test_open.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

class ReportFileTest : public testing::Test {
 protected:
  ReportFileTest() {
    std::string name = (fs::temp_directory_path() / "tarvex-file-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~ReportFileTest() override { fs::remove_all(folder_); }

  std::string At(const char* name) const { return (folder_ / name).string(); }
  std::string Content(const char* name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  fs::path folder_;
  ReportFile report_;
};

TEST_F(ReportFileTest, TextReachesTheFileAtFlush) {
  EXPECT_FALSE(report_.IsOpen());
  ASSERT_TRUE(report_.Open(At("report")));
  EXPECT_TRUE(report_.IsOpen());
  report_.Write("one ");
  EXPECT_EQ(Content("report"), "");
  report_.Write("two");
  report_.Flush();
  EXPECT_EQ(Content("report"), "one two");
}

TEST_F(ReportFileTest, TextLongerThanTheBufferReachesTheFileUnflushed) {
  ASSERT_TRUE(report_.Open(At("report")));
  const std::string text(100000, 'x');
  report_.Write(text);
  EXPECT_EQ(Content("report"), text);
}

TEST_F(ReportFileTest, CloseAndDestructionWriteTheRest) {
  {
    ReportFile report;
    ASSERT_TRUE(report.Open(At("a")));
    report.Write("rest");
  }
  EXPECT_EQ(Content("a"), "rest");
  ASSERT_TRUE(report_.Open(At("b")));
  report_.Write("rest");
  report_.Close();
  EXPECT_FALSE(report_.IsOpen());
  EXPECT_EQ(Content("b"), "rest");
}

TEST_F(ReportFileTest, WritesToAClosedReportGoNowhere) {
  report_.Write("lost");
  report_.Flush();
  report_.Close();
  ASSERT_TRUE(report_.Open(At("report")));
  report_.Close();
  EXPECT_EQ(Content("report"), "");
}

TEST_F(ReportFileTest, OpenTruncates) {
  std::ofstream(folder_ / "report") << "old and long";
  ASSERT_TRUE(report_.Open(At("report")));
  EXPECT_EQ(Content("report"), "");
}

TEST_F(ReportFileTest, RepeatedSeparatorsCountAsOne) {
  fs::create_directory(folder_ / "deep");
  std::string path = folder_.string() + "/deep//report";
  ASSERT_TRUE(report_.Open(path));
  EXPECT_TRUE(fs::exists(folder_ / "deep/report"));
}

TEST_F(ReportFileTest, SymbolicLinkIsRefusedAndItsTargetKept) {
  std::ofstream(folder_ / "victim") << "keep";
  fs::create_symlink(folder_ / "victim", folder_ / "link");
  fs::create_symlink(folder_ / "absent", folder_ / "dangling");
  EXPECT_FALSE(report_.Open(At("link")));
  EXPECT_FALSE(report_.Open(At("dangling")));
  EXPECT_FALSE(report_.IsOpen());
  EXPECT_EQ(Content("victim"), "keep");
  EXPECT_FALSE(fs::exists(folder_ / "absent"));
}

TEST_F(ReportFileTest, PipeAndFolderAreRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(report_.Open(At("pipe")));
  EXPECT_FALSE(report_.Open(folder_.string()));
  EXPECT_FALSE(report_.Open(At("absent/report")));
  EXPECT_FALSE(report_.Open(""));
}

TEST_F(ReportFileTest, StrangersLinkOnTheWayIsRefusedAndAnOwnOneFollowed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  fs::create_directory(folder_ / "deep");
  std::ofstream(folder_ / "deep/report") << "keep";
  fs::create_directory_symlink("deep", folder_ / "link");
  ASSERT_EQ(lchown(At("link").c_str(), 12345, 12345), 0);
  EXPECT_FALSE(report_.Open(At("link/report")));
  EXPECT_FALSE(report_.Open(At("link/new")));
  EXPECT_EQ(Content("deep/report"), "keep");
  EXPECT_FALSE(fs::exists(folder_ / "deep/new"));
  ASSERT_EQ(lchown(At("link").c_str(), 0, 0), 0);
  ASSERT_TRUE(report_.Open(At("link/report")));
  EXPECT_EQ(Content("deep/report"), "");
}

TEST_F(ReportFileTest, FileWithASecondNameIsRefusedAndKept) {
  std::ofstream(folder_ / "first") << "keep";
  fs::create_hard_link(folder_ / "first", folder_ / "second");
  EXPECT_FALSE(report_.Open(At("second")));
  EXPECT_EQ(Content("first"), "keep");
}

TEST_F(ReportFileTest, NullDeviceIsTakenAndNoOtherIsOpened) {
  EXPECT_TRUE(report_.Open("/dev/null"));
  report_.Write("nothing");
  report_.Close();
  for (const char* path : {"/dev/zero", "/dev/random", "/dev/tty", "/dev/stdout", "/dev/ptmx"}) {
    EXPECT_FALSE(report_.Open(path)) << path;
  }
}

TEST_F(ReportFileTest, BareNameLiesInTheWorkingDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_);
  const bool opened = report_.Open("report");
  fs::current_path(before);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(fs::exists(folder_ / "report"));
}

TEST_F(ReportFileTest, FullDiskShowsAsALossOnly) {
  ASSERT_TRUE(report_.Open("/dev/full"));
  report_.Write("text");
  EXPECT_EQ(report_.Loss(), "");
  report_.Flush();
  EXPECT_TRUE(report_.IsOpen());
  EXPECT_EQ(report_.Loss(), "No space left on device");
  report_.Close();
  EXPECT_EQ(report_.Loss(), "No space left on device");
  ASSERT_TRUE(report_.Open(At("report")));
  report_.Write("text");
  report_.Flush();
  EXPECT_EQ(report_.Loss(), "");
}

TEST_F(ReportFileTest, AReportThatMayNotBeWrittenIsALoss) {
  ASSERT_TRUE(report_.Open(At("report")));
  fs::create_hard_link(At("report"), At("second"));
  report_.Write("text");
  report_.Flush();
  EXPECT_EQ(report_.Loss(), "the file lost its name, or got another");
}

TEST_F(ReportFileTest, OnlyTheOwnerMayWriteTheReport) {
  const mode_t before = umask(0);
  ASSERT_TRUE(report_.Open(At("report")));
  umask(before);
  EXPECT_EQ(fs::status(folder_ / "report").permissions(), static_cast<fs::perms>(0644));
}

// A stranger's second name of somebody else's file, taken away once the file is open.
TEST_F(ReportFileTest, FileWhoseNameIsTakenAwayWhileItIsOpenedIsNotEmptied) {
  std::ofstream(At("precious")) << "text";
  fs::create_hard_link(At("precious"), At("kept"));
  fs::rename(At("precious"), At("report"));
  afterOpen = [this] { fs::remove(At("report")); };
  EXPECT_FALSE(report_.Open(At("report")));
  afterOpen = nullptr;  // what has a second name is not even opened
  EXPECT_EQ(Content("kept"), "text");
  fs::remove(At("kept"));
  std::ofstream(At("report")) << "text";
  afterOpen = [this] { fs::rename(At("report"), At("kept")); };
  EXPECT_FALSE(report_.Open(At("report")));
  EXPECT_FALSE(report_.IsOpen());
  EXPECT_EQ(Content("kept"), "text");
}

TEST_F(ReportFileTest, FileThatLosesItsNameBeforeTheFirstByteIsNotWritten) {
  ASSERT_TRUE(report_.Open(At("report")));
  fs::rename(At("report"), At("taken"));
  std::ofstream(At("report")) << "other";
  report_.Write("text");
  report_.Flush();
  EXPECT_EQ(Content("taken"), "");
  EXPECT_EQ(Content("report"), "other");
}

TEST_F(ReportFileTest, FileThatGetsASecondNameBeforeTheFirstByteIsNotWritten) {
  ASSERT_TRUE(report_.Open(At("report")));
  fs::create_hard_link(At("report"), At("second"));
  report_.Write("text");
  report_.Close();
  EXPECT_EQ(Content("second"), "");
}

TEST_F(ReportFileTest, ReportThatHasBegunGoesOnUnderAnyName) {
  ASSERT_TRUE(report_.Open(At("report")));
  report_.Write("one ");
  report_.Flush();
  fs::rename(At("report"), At("moved"));
  report_.Write("two");
  report_.Close();
  EXPECT_EQ(Content("moved"), "one two");
}

}  // namespace
}  // namespace tarvex
