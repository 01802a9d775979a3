#include "views/cli_stdio_null.h"

#include <gtest/gtest.h>

#include "tests/support/console_capture.h"
#include "tests/support/test_host.h"

namespace {

class CliStdioNullTest : public testing::Test {
 protected:
  ScopedTestHost host_;
  tarvex::ConsoleCapture console_;
  CliStdioNull view_{console_};
};

TEST_F(CliStdioNullTest, WholeRunPrintsNothingButTheBlanksOfClearLine) {
  EXPECT_EQ(view_.Open(), kViewOk);
  EXPECT_EQ(view_.ShowDeviceScan("storage", false), kViewOk);
  EXPECT_EQ(view_.ShowDeviceScan("storage", true), kViewOk);
  EXPECT_EQ(view_.BeginModule("storage"), kViewOk);
  EXPECT_EQ(view_.BeginSuite("disk0", "storage"), kViewOk);
  EXPECT_EQ(view_.PrintField("a", "b", true), kViewOk);
  EXPECT_EQ(view_.PrintSentence("a", true), kViewOk);
  EXPECT_EQ(view_.PrintTitle("a", true), kViewOk);
  EXPECT_EQ(view_.PrintRaw("a", true), kViewOk);
  EXPECT_EQ(view_.PrintUnicode("a", true), kViewOk);
  EXPECT_EQ(view_.PrintNewLine(), kViewOk);
  EXPECT_EQ(view_.PrintSeparator(), kViewOk);
  EXPECT_EQ(view_.BeginDiagnostic("d"), kViewOk);
  EXPECT_EQ(view_.BeginTest("t", DiagKey{}), kViewOk);
  EXPECT_EQ(view_.ShowTestProgress(50, 1), kViewOk);
  EXPECT_EQ(view_.EndTest(1, 1), kViewOk);
  EXPECT_EQ(view_.ShowSuiteProgress(50, 1), kViewOk);
  EXPECT_EQ(view_.EndDiagnostic(), kViewOk);
  EXPECT_EQ(view_.EndSuite("r", 1, true), kViewOk);
  EXPECT_EQ(view_.FinishExecutionBlock("r"), kViewOk);
  EXPECT_EQ(console_.Take(), "");
  EXPECT_EQ(view_.ClearLine(), kViewOk);
  EXPECT_EQ(console_.Take(), std::string(79, ' ') + "\r");
}

TEST_F(CliStdioNullTest, EscapeDoesNotAbort) {
  view_.Open();
  host_->console.keys = {kKeyEscape};
  EXPECT_FALSE(view_.IsAbortRequested());
  EXPECT_EQ(host_->console.reads, 0);
}

TEST_F(CliStdioNullTest, NeverTakesTheConsole) {
  {
    CliStdioNull view(console_);
    view.Open();
  }
  EXPECT_EQ(host_->consoleUses, 0);
  EXPECT_EQ(host_->consoleReleases, 0);
}

TEST_F(CliStdioNullTest, SecondModuleIsRefusedAsOnTheConsole) {
  EXPECT_EQ(view_.EndModule(), kViewBadState);
  EXPECT_EQ(view_.BeginModule("a"), kViewOk);
  EXPECT_EQ(view_.BeginModule("b"), kViewBadState);
  EXPECT_EQ(view_.EndModule(), kViewOk);
}

TEST_F(CliStdioNullTest, FormattingAndAssertsAreThoseOfTheConsole) {
  EXPECT_EQ(view_.FormatKey("A_|B", true, true, true), "A B");
  EXPECT_EQ(view_.FormatElapsed(1), "1 second");
  testing::internal::CaptureStderr();
  EXPECT_EQ(view_.ReportAssert("a", "f", 3), kViewOk);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Assert Failed: a in file f, line 3.\n");
}

}  // namespace
