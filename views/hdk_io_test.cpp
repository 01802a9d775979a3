#include "views/hdk_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <thread>

#include "system/process_state.h"
#include "tests/support/console_capture.h"
#include "tests/support/steering_texts.h"
#include "tests/support/test_host.h"
#include "views/supervisor_input.h"

namespace {

// Standard input is a pipe that the test writes.
class HDKioTest : public testing::Test {
 protected:
  HDKioTest() : savedInput_(dup(STDIN_FILENO)) {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    supervisor_ = ends[1];
  }
  ~HDKioTest() override {
    view_.reset();
    Hangup();
    dup2(savedInput_, STDIN_FILENO);
    close(savedInput_);
  }
  HDKio& View() {
    if (!view_) view_ = std::make_unique<HDKio>(console_);
    return *view_;
  }
  void Say(const std::string& bytes) const {
    EXPECT_EQ(write(supervisor_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void Hangup() {
    if (supervisor_ >= 0) {
      close(supervisor_);
      supervisor_ = -1;
    }
  }

  int savedInput_;
  int supervisor_ = -1;
  ScopedTestHost host_;
  tarvex::ConsoleCapture console_;
  std::unique_ptr<HDKio> view_;
};

TEST_F(HDKioTest, WholeRunSendsItsLines) {
  HDKio& view = View();
  EXPECT_EQ(view.Open(), kViewOk);
  EXPECT_EQ(view.BeginModule("storage"), kViewOk);
  EXPECT_EQ(view.ShowDeviceScan("storage", false), kViewOk);
  EXPECT_EQ(view.ShowDeviceScan("storage", true), kViewOk);
  EXPECT_EQ(view.BeginSuite("disk0", "Stor\xC3\xA4ge"), kViewOk);
  EXPECT_EQ(view.BeginDiagnostic("d"), kViewOk);
  EXPECT_EQ(view.BeginTest("t", DiagKey{0x12345, 6, 0x100000007, 9}), kViewOk);
  EXPECT_EQ(view.ShowTestProgress(5, 1), kViewOk);
  EXPECT_EQ(view.ShowTestProgress(100, 2), kViewOk);
  EXPECT_EQ(view.EndTest(0, 7.6), kViewOk);
  EXPECT_EQ(view.ShowSuiteProgress(33, 8), kViewOk);
  EXPECT_EQ(view.EndDiagnostic(), kViewOk);
  EXPECT_EQ(view.EndSuite("R-1", 8.2, false), kViewOk);
  EXPECT_EQ(view.FinishExecutionBlock("F-1"), kViewOk);
  EXPECT_EQ(console_.Flushed(),
            "BeginDiagSuite:::Stor\xC3\xA4ge\n"
            "BeginDiag:::9029.6.7\n"
            "PrgDiag:::005\n"
            "PrgDiag:::100\n"
            "EndDiag:::1|00008\n"
            "PrgDiagSuite:::33\n"
            "EndDiagSuite:::001|R-1|00008\n"
            "FinishExecutionBlock:::F-1\n");
}

TEST_F(HDKioTest, KeyPartsAreUnsigned) {
  View().BeginTest("t", DiagKey{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 0});
  EXPECT_EQ(console_.Flushed(), "BeginDiag:::65535.4294967295.4294967295\n");
}

TEST_F(HDKioTest, EachStatusHasItsDigit) {
  const char digits[] = {'1', '0', '5', '2', '4', '3', '5', '5'};
  for (TestStatus status = 0; status < 8; ++status) {
    View().EndTest(status, 0);
    EXPECT_EQ(console_.Take(), std::string("EndDiag:::") + digits[status] + "|00000\n");
  }
}

TEST_F(HDKioTest, UnrecognizedInvalidAndUnknownStatusesAreFive) {
  for (const TestStatus status : {TestStatus{2}, TestStatus{6}, TestStatus{7}, TestStatus{1000}}) {
    View().EndTest(status, 0);
    EXPECT_EQ(console_.Take(), "EndDiag:::5|00000\n") << status;
  }
}

TEST_F(HDKioTest, NotApplicableIsTwoHereAndItsWordOnTheConsole) {
  View().EndTest(kTestNotApplicable, 0);
  EXPECT_EQ(console_.Take(), "EndDiag:::2|00000\n");
  OrvanStdio(console_).EndTest(kTestNotApplicable, 0);
  EXPECT_NE(console_.Take().find("Not Applicable!"), std::string::npos);
}

TEST_F(HDKioTest, TextsThatAreNoUtf8AreReplaced) {
  View().BeginSuite("", "a\xFFz");
  View().EndSuite("\xC3", 0, false);
  EXPECT_EQ(console_.Take(),
            "BeginDiagSuite:::a\xEF\xBF\xBDz\nEndDiagSuite:::001|\xEF\xBF\xBD|00000\n");
}

TEST_F(HDKioTest, NoFieldMakesALine) {
  View().PrintField("n\n", "v\rID:::9", true);
  View().BeginSuite("", "m\nFinishExecutionBlock:::OK");
  View().EndSuite("r\tr", 0, false);
  View().FinishExecutionBlock("a\b\u2028\u202Ez");
  EXPECT_EQ(console_.Take(),
            "n\uFFFD:::v\uFFFDID:::9\nBeginDiagSuite:::m\uFFFDFinishExecutionBlock:::OK\n"
            "EndDiagSuite:::001|r\uFFFDr|00000\nFinishExecutionBlock:::a\uFFFD\uFFFD\uFFFDz\n");
}

TEST_F(HDKioTest, NoLineHoldsWhatSteers) {
  const std::string hostile = tarvex::testing::SteeringText();
  View().PrintField(hostile, hostile, true);
  View().BeginSuite(hostile, hostile);
  View().BeginTest(hostile, {});
  View().EndSuite(hostile, 1, true);
  View().FinishExecutionBlock(hostile);
  const std::string sent = console_.Take();
  EXPECT_EQ(tarvex::testing::SteeringIn(sent, "\n"), L"");
  EXPECT_EQ(std::count(sent.begin(), sent.end(), '\n'), 5);
}

TEST_F(HDKioTest, SecondsAreRoundedAndAtLeastFiveWide) {
  View().EndTest(0, 7.4);
  View().EndTest(0, 123456);
  EXPECT_EQ(console_.Flushed(), "EndDiag:::1|00007\nEndDiag:::1|123456\n");
}

TEST_F(HDKioTest, FailedSuiteIsZero) {
  View().EndSuite("R", 0, true);
  EXPECT_EQ(console_.Flushed(), "EndDiagSuite:::000|R|00000\n");
}

TEST_F(HDKioTest, FieldHasNoFormatting) {
  View().PrintField("|A_B", "Caf\xC3\xA9", true);
  View().PrintField("n", "v", false);
  EXPECT_EQ(console_.Take(), "|A_B:::Caf\xC3\xA9\nn:::v");
}

TEST_F(HDKioTest, SamePercentIsSentOnceAndNegativeNever) {
  View().ShowTestProgress(-1, 0);
  View().ShowTestProgress(7, 0);
  View().ShowTestProgress(7, 1);
  View().ShowTestProgress(-1, 1);
  View().ShowTestProgress(7, 2);
  View().ShowTestProgress(8, 2);
  EXPECT_EQ(console_.Flushed(), "PrgDiag:::007\nPrgDiag:::008\n");
}

TEST_F(HDKioTest, BeginAndEndOfATestForgetThePercent) {
  View().ShowTestProgress(0, 0);
  View().EndTest(0, 0);
  View().ShowTestProgress(0, 0);
  View().BeginTest("t", DiagKey{});
  View().ShowTestProgress(0, 0);
  EXPECT_EQ(console_.Flushed(),
            "PrgDiag:::000\nEndDiag:::1|00000\nPrgDiag:::000\nBeginDiag:::0.0.0\nPrgDiag:::000\n");
}

TEST_F(HDKioTest, ProgressFlushesEvenWithoutALine) {
  View().ClearLine();
  EXPECT_EQ(console_.Flushed(), "");
  View().ShowTestProgress(-1, 0);
  EXPECT_EQ(console_.Flushed(), std::string(79, ' ') + "\r");
}

TEST_F(HDKioTest, WhatIsMeantForAPersonIsSilent) {
  HDKio& view = View();
  EXPECT_EQ(view.PrintSentence("a", true), kViewOk);
  EXPECT_EQ(view.PrintTitle("a", true), kViewOk);
  EXPECT_EQ(view.PrintRaw("a", true), kViewOk);
  EXPECT_EQ(view.PrintText("a", true, true, true, true), kViewOk);
  EXPECT_EQ(view.PrintUnicode("a", true), kViewOk);
  EXPECT_EQ(view.PrintNewLine(), kViewOk);
  EXPECT_EQ(view.PrintSeparator(), kViewOk);
  EXPECT_EQ(view.BeginModule("a"), kViewOk);
  EXPECT_EQ(view.BeginModule("a"), kViewOk);
  EXPECT_EQ(view.EndModule(), kViewOk);
  EXPECT_EQ(view.EndModule(), kViewOk);
  EXPECT_EQ(view.EndDiagnostic(), kViewOk);
  EXPECT_EQ(view.Reserved(), 0);
  EXPECT_EQ(console_.Take(), "");
  EXPECT_EQ(view.FormatKey("A_|B", false, true, true), "A B");
}

TEST_F(HDKioTest, FailedWriteGives46) {
  HDKio& view = View();
  console_.FailWith(EPIPE);
  EXPECT_EQ(view.ShowTestProgress(1, 0), kViewStreamFailed);
  EXPECT_EQ(view.ShowTestProgress(1, 0), kViewStreamFailed);
  EXPECT_EQ(view.BeginSuite("s", "m"), kViewStreamFailed);
  EXPECT_EQ(view.BeginTest("t", DiagKey{}), kViewStreamFailed);
  EXPECT_EQ(view.ShowSuiteProgress(1, 0), kViewStreamFailed);
  EXPECT_EQ(view.EndTest(0, 0), kViewStreamFailed);
  EXPECT_EQ(view.EndSuite("r", 0, false), kViewStreamFailed);
  EXPECT_EQ(view.FinishExecutionBlock("r"), kViewStreamFailed);
  EXPECT_EQ(view.PrintField("n", "v", true), kViewStreamFailed);
  EXPECT_EQ(view.PrintRaw("r", true), kViewOk);
}

TEST_F(HDKioTest, ReaderIsOneNamedThreadThatEndsWithTheView) {
  View();
  EXPECT_EQ(host_->thread.names, std::vector<std::string>{"HDKio"});
  EXPECT_EQ(host_->thread.afterStarts, 1);
  view_.reset();
  EXPECT_EQ(host_->thread.joins, 1);
}

TEST_F(HDKioTest, ReaderThatCannotStartLeavesTheLookingToTheView) {
  host_->thread.startResult = EAGAIN;
  HDKio& view = View();
  EXPECT_EQ(host_->thread.afterStarts, 0);
  EXPECT_FALSE(view.IsAbortRequested());
  Say("xyz");
  EXPECT_FALSE(view.IsAbortRequested());
  Say("a");
  EXPECT_TRUE(view.IsAbortRequested());
  Say("b");
  EXPECT_TRUE(view.IsAbortRequested()) << "the command stays";
  view_.reset();
  EXPECT_EQ(host_->thread.joins, 0);
}

TEST_F(HDKioTest, AViewWithoutAReaderLooksNoMoreOnceTheOtherSideIsGone) {
  host_->thread.startResult = EAGAIN;
  HDKio& view = View();
  Hangup();
  EXPECT_FALSE(view.IsAbortRequested());
  EXPECT_FALSE(view.IsAbortRequested());
}

TEST_F(HDKioTest, AbortByteBeforeTheStartAbortsAndStays) {
  for (const char* command : {"a", "A"}) {
    Say(command);
    EXPECT_TRUE(View().IsAbortRequested()) << "at the first look, however late the reader's thread";
    EXPECT_TRUE(View().IsAbortRequested());
    view_.reset();
  }
}

TEST_F(HDKioTest, AbortByteBehindOthersAborts) {
  HDKio& view = View();
  Say("xyza");
  host_->thread.AwaitEnd();
  EXPECT_TRUE(view.IsAbortRequested());
}

TEST_F(HDKioTest, AbortByteBehindHalfAMegabyteOfOthersAborts) {
  HDKio& view = View();
  const std::string garbage(1U << 19, '\0');
  std::thread supervisor([&] {
    Say(garbage);
    Say("A");
  });
  host_->thread.AwaitEnd();
  supervisor.join();
  EXPECT_TRUE(view.IsAbortRequested());
  EXPECT_EQ(SupervisorInput::Get().LastByte(), 'A');
}

TEST_F(HDKioTest, InputThatNeverEndsIsTakenSlowly) {
  View();
  const auto start = std::chrono::steady_clock::now();
  // More than three looks can take, with 100 ms between them.
  Say(std::string(4 * 65536, 'x'));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST_F(HDKioTest, WhatComesBehindTheAbortByteIsNotAsked) {
  Say("xAyz");
  EXPECT_TRUE(View().IsAbortRequested());
  EXPECT_EQ(SupervisorInput::Get().LastByte(), 'A');
}

TEST_F(HDKioTest, ASupervisorThatDoesNotReadIsWaitedForHalfAMinuteAndASecondAfterItsAbort) {
  HDKio& view = View();
  EXPECT_EQ(console_.PatienceMs(), 30000);
  Say("a");
  host_->thread.AwaitEnd();
  EXPECT_TRUE(view.IsAbortRequested());
  EXPECT_EQ(console_.PatienceMs(), 1000);
  view_.reset();
  EXPECT_LT(console_.PatienceMs(), 0);
}

TEST_F(HDKioTest, WhatIsLeftGoesOutWithTheViewAndItsPatience) {
  View().PrintField("n", "v", false);
  EXPECT_EQ(console_.Flushed(), "");
  view_.reset();
  EXPECT_EQ(console_.Flushed(), "n:::v");
}

TEST_F(HDKioTest, OtherBytesAreKeptAndChangeNothing) {
  HDKio& view = View();
  Say("bx");
  Hangup();
  host_->thread.AwaitEnd();
  EXPECT_EQ(SupervisorInput::Get().LastByte(), 'x');
  EXPECT_FALSE(view.IsAbortRequested());
}

TEST_F(HDKioTest, NoByteIs255AndAHangupDoesNotAbort) {
  HDKio& view = View();
  Hangup();
  host_->thread.AwaitEnd();
  EXPECT_EQ(SupervisorInput::Get().LastByte(), 255);
  EXPECT_FALSE(view.IsAbortRequested());
}

TEST_F(HDKioTest, NewViewForgetsTheByteOfTheLast) {
  Say("a");
  View();
  host_->thread.AwaitEnd();
  view_.reset();
  EXPECT_FALSE(View().IsAbortRequested());
}

TEST_F(HDKioTest, InputThatIsNoPipeIdlesUntilTheEnd) {
  const int device = open("/dev/zero", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(device, 0);
  dup2(device, STDIN_FILENO);
  close(device);
  EXPECT_FALSE(View().IsAbortRequested());
  view_.reset();
  EXPECT_EQ(host_->thread.joins, 1);
}

TEST_F(HDKioTest, KeyboardIsNotReadAndTheProcessWideFlagAborts) {
  HDKio& view = View();
  view.Open();
  view.SetQuiet(true);
  host_->console.keys = {kKeyEscape};
  EXPECT_FALSE(view.IsAbortRequested());
  EXPECT_EQ(host_->console.reads, 0);
  GetProcessState().abort.AbortFlag = true;
  EXPECT_TRUE(view.IsAbortRequested());
  GetProcessState().abort.AbortFlag = false;
}

TEST(ParameterTypeName, NamesEachTypeAndUnknown) {
  EXPECT_STREQ(tarvex::ParameterTypeName(0), "BOOLEAN");
  EXPECT_STREQ(tarvex::ParameterTypeName(1), "TEXT");
  EXPECT_STREQ(tarvex::ParameterTypeName(2), "INTEGER");
  EXPECT_STREQ(tarvex::ParameterTypeName(3), "UNKNOWN");
  EXPECT_STREQ(tarvex::ParameterTypeName(4), "UNKNOWN");
  EXPECT_STREQ(tarvex::ParameterTypeName(-1), "UNKNOWN");
}

}  // namespace
