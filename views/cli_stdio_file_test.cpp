#include "views/cli_stdio_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/console_capture.h"
#include "tests/support/steering_texts.h"
#include "tests/support/test_host.h"

namespace {

namespace fs = std::filesystem;

const std::string kDashes = "--------------------------------------------------------------\n";

class CliStdioFileTest : public testing::Test {
 protected:
  CliStdioFileTest() {
    std::string name = (fs::temp_directory_path() / "tarvex-report-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    host_->filesystem.programDirectory = folder_.string();
  }
  ~CliStdioFileTest() override { fs::remove_all(folder_); }

  std::string Content(const fs::path& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
  }

  ScopedTestHost host_;
  tarvex::ConsoleCapture console_;
  fs::path folder_;
};

TEST_F(CliStdioFileTest, BareNameOpensBesideTheProgramWhateverTheWorkingDirectory) {
  const fs::path before = fs::current_path();
  const fs::path elsewhere = folder_ / "elsewhere";
  fs::create_directory(elsewhere);
  fs::current_path(elsewhere);
  CliStdioFile view(console_, "report.txt");
  EXPECT_EQ(view.Open(), kViewOk);
  fs::current_path(before);
  EXPECT_EQ(view.PrintRaw("text", true), kViewOk);
  EXPECT_EQ(Content("report.txt"), "text\n");
  EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(CliStdioFileTest, RelativeFolderIsMadeBelowTheProgramsOwn) {
  CliStdioFile view(console_, "one/two\\report.txt");
  EXPECT_EQ(view.Open(), kViewOk);
  EXPECT_TRUE(fs::is_regular_file(folder_ / "one/two/report.txt"));
}

TEST_F(CliStdioFileTest, AbsolutePathIsTakenAsItIs) {
  CliStdioFile view(console_, (folder_ / "deep" / "report.txt").string());
  host_->filesystem.programDirectory = "/nowhere";
  EXPECT_EQ(view.Open(), kViewOk);
  EXPECT_TRUE(fs::is_regular_file(folder_ / "deep/report.txt"));
}

TEST_F(CliStdioFileTest, SeparatorAtTheVeryBeginningStaysInTheName) {
  CliStdioFile view(console_, "/tarvex-views-test.txt");
  EXPECT_EQ(view.Open(), kViewOk);
  EXPECT_TRUE(fs::is_regular_file(folder_ / "tarvex-views-test.txt"));
}

TEST_F(CliStdioFileTest, PathThatEndsInASeparatorFails) {
  for (const char* path : {"folder/", "folder\\", "/", "\\\\"}) {
    CliStdioFile view(console_, path);
    EXPECT_EQ(view.Open(), kViewFileClosed) << path;
  }
}

TEST_F(CliStdioFileTest, EmptyPathFails) {
  CliStdioFile view(console_, "");
  EXPECT_EQ(view.Open(), kViewFileClosed);
}

TEST_F(CliStdioFileTest, ReservedNameAsAComponentFailsAndMakesNothing) {
  for (const char* path : {"CLOCK$", "clock$", "new/LPT1", "lpt1/report.txt"}) {
    CliStdioFile view(console_, path);
    EXPECT_EQ(view.Open(), kViewFileClosed) << path;
  }
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(CliStdioFileTest, FolderThatCannotBeMadeFails) {
  std::ofstream(folder_ / "file") << "x";
  CliStdioFile view(console_, "file/report.txt");
  EXPECT_EQ(view.Open(), kViewFileClosed);
}

TEST_F(CliStdioFileTest, UnknownProgramFolderFails) {
  host_->filesystem.programDirectory.clear();
  CliStdioFile view(console_, "report.txt");
  EXPECT_EQ(view.Open(), kViewFileClosed);
}

TEST_F(CliStdioFileTest, LinkInPlaceOfTheReportIsNotFollowed) {
  std::ofstream(folder_ / "victim") << "keep";
  fs::create_symlink(folder_ / "victim", folder_ / "report.txt");
  CliStdioFile view(console_, "report.txt");
  EXPECT_EQ(view.Open(), kViewFileClosed);
  EXPECT_EQ(Content("victim"), "keep");
}

TEST_F(CliStdioFileTest, SecondRunTruncatesTheReport) {
  {
    CliStdioFile view(console_, "report.txt");
    view.Open();
    view.PrintRaw("a long first report", true);
  }
  CliStdioFile view(console_, "report.txt");
  view.Open();
  EXPECT_EQ(Content("report.txt"), "");
  view.PrintRaw("second", true);
  EXPECT_EQ(Content("report.txt"), "second\n");
}

TEST_F(CliStdioFileTest, NormalizePathCutsRunsAndMakesBackslashes) {
  CliStdioFile view(console_, "x");
  EXPECT_EQ(view.NormalizePath("a//b\\\\c/\\d"), "a\\b\\c\\d");
  EXPECT_EQ(view.NormalizePath("\\\\server\\x"), "\\server\\x");
  EXPECT_EQ(view.NormalizePath("//"), "\\");
  EXPECT_EQ(view.NormalizePath(""), "");
}

TEST_F(CliStdioFileTest, ConsoleIsTakenUnlessQuiet) {
  {
    CliStdioFile view(console_, "a");
    view.Open();
    host_->console.keys = {kKeyEscape};
    EXPECT_TRUE(view.IsAbortRequested());
  }
  EXPECT_EQ(host_->consoleUses, 1);
  EXPECT_EQ(host_->consoleReleases, 1);
  CliStdioFile quiet(console_, "b");
  quiet.SetQuiet(true);
  EXPECT_EQ(quiet.Open(), kViewOk);
  EXPECT_EQ(host_->consoleUses, 1);
  EXPECT_FALSE(quiet.IsAbortRequested());
}

class OpenReportTest : public CliStdioFileTest {
 protected:
  OpenReportTest() { view_.Open(); }

  std::string Report() const { return Content("report.txt"); }

  CliStdioFile view_{console_, "report.txt"};
};

TEST_F(OpenReportTest, WholeRunHasTheBlocksOfTheConsoleWithoutProgress) {
  view_.ShowDeviceScan("|P|C|I", false);
  view_.ShowDeviceScan("|P|C|I", true);
  view_.BeginModule("pci");
  view_.BeginSuite("card0", "pci");
  view_.PrintField("LINK_SPEED", "16 GT/s \xE2\x82\xAC", true);
  view_.BeginDiagnostic("QUICK_CHECK");
  view_.BeginTest("LINK_STATE", DiagKey{});
  view_.ShowTestProgress(50, 1);
  view_.ShowTestProgress(100, 2);
  EXPECT_EQ(view_.EndTest(2, 61), kViewOk);
  view_.ShowSuiteProgress(100, 2);
  view_.EndDiagnostic();
  EXPECT_EQ(view_.EndSuite("R_1", 62.5, true), kViewOk);
  EXPECT_EQ(view_.FinishExecutionBlock("R_2"), kViewOk);
  EXPECT_EQ(Report(),
            "[Info] Scanning pci devices finished\n \r"
            "Link Speed                16 GT/s \xE2\x82\xAC\n"
            "\n"
            "Started diagnostic: Quick Check\n"
            "=> Link State\n"
            "   Test Status: Urecognized!\n"
            "   Elapsed time: 1 minute 1 second \n"
            "\n"
            "Finished diagnostic: Quick Check\n"
            "\n" +
                kDashes + "   Result Code: R_1\n   Total elapsed time: 1 minute 2 seconds \n" +
                kDashes + "\n" + kDashes + "   Final Result Code: R_2\n" + kDashes);
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OpenReportTest, LineEndsAndTestEndsReachTheFileAtOnce) {
  view_.PrintRaw("a", false);
  view_.PrintNewLine();
  EXPECT_EQ(Report(), "a\n");
  view_.EndTest(0, 0);
  EXPECT_EQ(Report(), "a\n   Test Status: Passed!\n   Elapsed time: 0 seconds \n\n");
}

TEST_F(OpenReportTest, BytesGoUnchanged) {
  view_.PrintUnicode("\xC3\xA9\xFF", true);
  view_.PrintRaw("\xC3\xA9\xFF", true);
  EXPECT_EQ(Report(), "\xC3\xA9\xFF\n\xC3\xA9\xFF\n");
}

TEST_F(OpenReportTest, WhatSteersATerminalIsReplacedAndTheLayoutStays) {
  view_.PrintRaw("a\tb\nc\x1b[2J\b\u202E\u009B\x9B.", true);
  EXPECT_EQ(Report(), "a\tb\nc\uFFFD[2J\uFFFD\uFFFD\uFFFD\uFFFD.\n");
}

TEST_F(OpenReportTest, NoValueMakesALine) {
  view_.PrintField("ID", "7\nID\t9\r", true);
  EXPECT_EQ(Report(), "Id                        7\uFFFDID\uFFFD9\uFFFD\n");
}

TEST_F(OpenReportTest, NoOperationWritesWhatSteers) {
  const std::string hostile = tarvex::testing::SteeringText();
  view_.PrintField(hostile, hostile, true);
  view_.PrintSentence(hostile, true);
  view_.PrintTitle(hostile, true);
  view_.PrintRaw(hostile, true);
  view_.PrintUnicode(hostile, true);
  view_.BeginModule(hostile);
  view_.BeginSuite(hostile, hostile);
  view_.BeginDiagnostic(hostile);
  view_.BeginTest(hostile, {});
  view_.EndDiagnostic();
  view_.ShowDeviceScan(hostile, true);
  view_.EndSuite(hostile, 1, false);
  view_.FinishExecutionBlock(hostile);
  EXPECT_EQ(tarvex::testing::SteeringIn(Report(), "\t\n\r"), L"");
}

TEST_F(OpenReportTest, EndSuiteWithoutModuleOrSuiteWritesNothing) {
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewBadState);
  view_.BeginModule("m");
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewBadState);
  view_.BeginSuite("s", "m");
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewOk);
  const std::string written = Report();
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewBadState);
  EXPECT_EQ(Report(), written);
}

TEST_F(OpenReportTest, ClearLineGoesToTheConsole) {
  view_.ClearLine();
  view_.PrintSeparator();
  EXPECT_EQ(Report(), kDashes);
  EXPECT_EQ(console_.Take(), std::string(79, ' ') + "\r");
}

TEST_F(OpenReportTest, AnotherProgramCanReadAndWriteTheReport) {
  std::ofstream other(folder_ / "report.txt", std::ios::app);
  EXPECT_TRUE(other.is_open());
}

TEST_F(CliStdioFileTest, ClosedReportReturnsOneAndIsReportedOnce) {
  CliStdioFile view(console_, "report.txt");
  view.BeginModule("m");
  view.BeginSuite("s", "m");
  EXPECT_EQ(view.PrintField("a", "b", true), kViewFileClosed);
  EXPECT_EQ(console_.Take(), "Error opening file\n");
  EXPECT_EQ(view.PrintText("a", true, false, false, false), kViewFileClosed);
  EXPECT_EQ(view.PrintUnicode("a", true), kViewFileClosed);
  EXPECT_EQ(view.PrintNewLine(), kViewFileClosed);
  EXPECT_EQ(view.PrintSeparator(), kViewFileClosed);
  EXPECT_EQ(view.EndSuite("r", 1, false), kViewFileClosed);
  EXPECT_EQ(view.EndTest(0, 1), kViewFileClosed);
  EXPECT_EQ(view.ShowDeviceScan("m", true), kViewFileClosed);
  EXPECT_EQ(view.FinishExecutionBlock("r"), kViewFileClosed);
  EXPECT_EQ(view.BeginTest("t", DiagKey{}), kViewFileClosed);
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(CliStdioFileTest, ClosedReportIsNoMatterForWhatWritesNothing) {
  CliStdioFile view(console_, "report.txt");
  EXPECT_EQ(view.ShowDeviceScan("m", false), kViewOk);
  EXPECT_EQ(view.ShowTestProgress(1, 1), kViewOk);
  EXPECT_EQ(view.ShowSuiteProgress(1, 1), kViewOk);
  EXPECT_EQ(console_.Take(), "");
}

}  // namespace
