#include "views/orvan_stdio.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdio>

#include "system/process_state.h"
#include "tests/support/console_capture.h"
#include "tests/support/steering_texts.h"
#include "tests/support/test_host.h"

namespace {

const std::string kDashes = "--------------------------------------------------------------\n";
const std::string kBlanks57 = "                                                         ";

// Shows the name fields.
class ProbedView : public OrvanStdio {
 public:
  using OrvanStdio::OrvanStdio;
  const std::string& suite() const { return suiteName; }
  const std::string& test() const { return testName; }
  const std::string& diagnostic() const { return diagnosticName; }
  const std::string& module() const { return moduleName; }
  char mark() const { return spinner; }
};

class OrvanStdioTest : public testing::Test {
 protected:
  ScopedTestHost host_;
  tarvex::ConsoleCapture console_;
  ProbedView view_{console_};
};

TEST_F(OrvanStdioTest, FieldHasNameColumnAndValue) {
  EXPECT_EQ(view_.PrintField("|P|C|I_EXPRESS", "Gen 4", true), kViewOk);
  EXPECT_EQ(console_.Flushed(), "PCI Express            Gen 4\n");
}

TEST_F(OrvanStdioTest, FieldNameOf24BytesIsWholeAndOf25IsCut) {
  view_.PrintField("ABCDEFGHIJKLMNOPQRSTUVWX", "v", true);
  view_.PrintField("ABCDEFGHIJKLMNOPQRSTUVWXY", "v", true);
  EXPECT_EQ(console_.Flushed(), "Abcdefghijklmnopqrstuvwx  v\nAbcdefghijklmnopqrstu...  v\n");
}

TEST_F(OrvanStdioTest, FieldIsDecodedFromUtf8) {
  view_.PrintField(
      "GR\xC3\x96\xC3\x9F"
      "E",
      "\xE2\x82\xAC\xFF.", false);
  // 7 bytes of name, 19 blanks; the byte that is no UTF-8 becomes U+FFFD.
  EXPECT_EQ(console_.Take(),
            "Gr\xC3\x96\xC3\x9F"
            "e" +
                std::string(19, ' ') + "\xE2\x82\xAC\xEF\xBF\xBD.");
}

TEST_F(OrvanStdioTest, SentenceTitleAndRawDifferInTheirCase) {
  view_.PrintSentence("NO_|P|C|I_DEVICE", true);
  view_.PrintTitle("NO_|P|C|I_DEVICE", true);
  view_.PrintRaw("NO_|P|C|I_DEVICE", true);
  EXPECT_EQ(console_.Flushed(), "No PCI device\nNo PCI Device\nNO_|P|C|I_DEVICE\n");
}

TEST_F(OrvanStdioTest, TextWithoutLineEndIsNotFlushed) {
  EXPECT_EQ(view_.PrintRaw("abc", false), kViewOk);
  EXPECT_EQ(console_.Flushed(), "");
  EXPECT_EQ(console_.Take(), "abc");
}

TEST_F(OrvanStdioTest, TextIsWidenedByteByByte) {
  view_.PrintText("\xC3\xA9", true, false, false, false);
  EXPECT_EQ(console_.Flushed(), "\xC3\x83\xC2\xA9\n");
}

TEST_F(OrvanStdioTest, NoValueOfAFieldMakesALine) {
  view_.PrintField("ID", "7\nID\t9\r\u2028", true);
  EXPECT_EQ(console_.Flushed(), "Id                        7\uFFFDID\uFFFD9\uFFFD\uFFFD\n");
}

TEST_F(OrvanStdioTest, NoOperationPrintsWhatSteers) {
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
  view_.ShowDeviceScan(hostile, false);
  view_.ShowDeviceScan(hostile, true);
  view_.EndSuite(hostile, 1, false);
  view_.FinishExecutionBlock(hostile);
  EXPECT_EQ(tarvex::testing::SteeringIn(console_.Take(), "\b\t\n\r"), L"");
}

TEST_F(OrvanStdioTest, UnicodeIsDecodedAsTheLocaleSays) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  EXPECT_EQ(view_.PrintUnicode("\xC3\xA9", true), kViewOk);
  std::setlocale(LC_CTYPE, before.c_str());
  EXPECT_EQ(console_.Flushed(), "\xC3\xA9\n");
}

TEST_F(OrvanStdioTest, UnicodeThatCannotBeDecodedShowsReplacements) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  EXPECT_EQ(view_.PrintUnicode("a\xFF"
                               "b",
                               false),
            kViewOk);
  EXPECT_EQ(view_.PrintRaw("c", true), kViewOk);
  std::setlocale(LC_CTYPE, before.c_str());
  EXPECT_EQ(console_.Flushed(),
            "a\xEF\xBF\xBD"
            "bc\n");
}

TEST_F(OrvanStdioTest, NewLineAndSeparatorEndTheirLines) {
  view_.PrintNewLine();
  view_.PrintSeparator();
  EXPECT_EQ(console_.Flushed(), "\n" + kDashes);
}

TEST_F(OrvanStdioTest, ClearLineIs79BlanksAndCarriageReturnWithoutFlush) {
  EXPECT_EQ(view_.ClearLine(), kViewOk);
  EXPECT_EQ(console_.Flushed(), "");
  EXPECT_EQ(console_.Take(), std::string(79, ' ') + "\r");
}

TEST_F(OrvanStdioTest, FormattingIsThatOfTheKeys) {
  EXPECT_EQ(view_.FormatKey("A_|B", false, false, true), "a B");
  EXPECT_EQ(view_.FormatMarkedKey("_A_B", true, true), "A B");
  EXPECT_EQ(view_.FormatElapsed(61), "1 minute 1 second");
}

TEST_F(OrvanStdioTest, SecondBeginModuleIsRefusedAndKeepsTheFirstName) {
  EXPECT_EQ(view_.BeginModule("storage"), kViewOk);
  EXPECT_EQ(view_.BeginModule("pci"), kViewBadState);
  EXPECT_EQ(view_.module(), "storage");
  EXPECT_EQ(view_.EndModule(), kViewOk);
  EXPECT_EQ(view_.EndModule(), kViewBadState);
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OrvanStdioTest, BeginSuiteKeepsTheNameAndPrintsNothing) {
  EXPECT_EQ(view_.BeginSuite("disk0", "Storage"), kViewOk);
  EXPECT_EQ(view_.suite(), "disk0");
  EXPECT_EQ(view_.module(), "");
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OrvanStdioTest, EndSuiteWithoutModuleOrSuitePrintsNothing) {
  view_.BeginSuite("disk0", "Storage");
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewBadState);
  view_.BeginModule("Storage");
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewOk);
  console_.Take();
  EXPECT_EQ(view_.EndSuite("R", 1, false), kViewBadState);
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OrvanStdioTest, EndSuitePrintsTheClosingBlockWhateverTheOutcome) {
  for (const bool failed : {false, true}) {
    view_.BeginModule("Storage");
    view_.BeginSuite("disk0", "Storage");
    EXPECT_EQ(view_.EndSuite("W1_|X-aB", 3600.9, failed), kViewOk);
    EXPECT_EQ(console_.Take(), "\n" + kDashes + "   Result Code: W1_|X-aB\n" +
                                   "   Total elapsed time: 1 hour 0 seconds \n" + kDashes);
    EXPECT_EQ(view_.suite(), "");
    EXPECT_EQ(view_.module(), "Storage");
  }
}

TEST_F(OrvanStdioTest, FinishExecutionBlockPrintsTheFinalResult) {
  EXPECT_EQ(view_.FinishExecutionBlock("W1_|X"), kViewOk);
  EXPECT_EQ(console_.Flushed(), "\n" + kDashes + "   Final Result Code: W1_|X\n" + kDashes);
}

TEST_F(OrvanStdioTest, DiagnosticIsAnnouncedAtItsStartAndEnd) {
  EXPECT_EQ(view_.BeginDiagnostic("QUICK_|S|M|A|R|T_CHECK"), kViewOk);
  EXPECT_EQ(view_.diagnostic(), "QUICK_|S|M|A|R|T_CHECK");
  EXPECT_EQ(console_.Take(), "\nStarted diagnostic: Quick SMART Check\n");
  EXPECT_EQ(view_.EndDiagnostic(), kViewOk);
  EXPECT_EQ(console_.Take(), "Finished diagnostic: Quick SMART Check\n");
  EXPECT_EQ(view_.diagnostic(), "");
}

TEST_F(OrvanStdioTest, TestIsAnnouncedWithAnArrow) {
  EXPECT_EQ(view_.BeginTest("LINEAR_READ", DiagKey{}), kViewOk);
  EXPECT_EQ(view_.test(), "LINEAR_READ");
  EXPECT_EQ(console_.Take(), "=> Linear Read\n");
}

TEST_F(OrvanStdioTest, EndTestBlanksTheProgressLineAndShowsWordAndTime) {
  view_.BeginTest("T", DiagKey{});
  console_.Take();
  EXPECT_EQ(view_.EndTest(3, 61.5), kViewOk);
  EXPECT_EQ(console_.Flushed(), kBlanks57 + "\r   Test Status: Not Applicable!\n" +
                                    "   Elapsed time: 1 minute 1 second \n\n");
  EXPECT_EQ(view_.test(), "");
}

TEST_F(OrvanStdioTest, EndTestSpellsEachStatus) {
  const char* const words[] = {"Passed",   "Failed",  "Urecognized", "Not Applicable",
                               "Canceled", "Warning", "Invalid",     "None"};
  for (TestStatus status = 0; status < 8; ++status) {
    view_.EndTest(status, 0);
    EXPECT_EQ(console_.Take(), kBlanks57 + "\r   Test Status: " + words[status] +
                                   "!\n   Elapsed time: 0 seconds \n\n");
  }
}

TEST_F(OrvanStdioTest, NegativeProgressPrintsNothing) {
  EXPECT_EQ(view_.ShowTestProgress(-1, 0), kViewOk);
  EXPECT_EQ(console_.Take(), "");
  EXPECT_EQ(view_.mark(), '-');
}

TEST_F(OrvanStdioTest, ProgressTurnsTheSpinnerAndIsFlushed) {
  const char* const marks[] = {"\\", "|", "/", "-", "\\"};
  for (int i = 0; i < 5; ++i) {
    const std::string before = console_.Flushed();
    EXPECT_EQ(view_.ShowTestProgress(7, 62.9), kViewOk);
    EXPECT_EQ(console_.Flushed(), before + "   7% " + marks[i] + " 1 minute 2 seconds \r");
  }
}

TEST_F(OrvanStdioTest, ProgressAt100ShowsAStarAndTheNextLineTheFirstStep) {
  view_.ShowTestProgress(1, 0);
  view_.ShowTestProgress(2, 0);
  console_.Take();
  view_.ShowTestProgress(100, 5);
  view_.ShowTestProgress(101, 5);
  EXPECT_EQ(console_.Take(), "   100% * 5 seconds \r   101% * 5 seconds \r");
  view_.ShowTestProgress(99, 5);
  EXPECT_EQ(console_.Take(), "   99% \\ 5 seconds \r");
}

TEST_F(OrvanStdioTest, DeviceScanTurnsTheSpinner) {
  EXPECT_EQ(view_.ShowDeviceScan("|P|C|I_EXPRESS", false), kViewOk);
  EXPECT_EQ(view_.ShowDeviceScan("storage", false), kViewOk);
  EXPECT_EQ(console_.Flushed(), "\\ Scanning PCI express devices \r| Scanning storage devices \r");
}

TEST_F(OrvanStdioTest, FinishedDeviceScanPassesTheKeysTwice) {
  view_.ShowDeviceScan("storage", false);
  console_.Take();
  EXPECT_EQ(view_.ShowDeviceScan("|P|C|I_EXPRESS", true), kViewOk);
  EXPECT_EQ(console_.Flushed(), "[Info] Scanning pci express devices finished\n \r");
  EXPECT_EQ(view_.mark(), '-');
}

TEST_F(OrvanStdioTest, SuiteProgressPrintsNothing) {
  EXPECT_EQ(view_.ShowSuiteProgress(50, 1), kViewOk);
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OrvanStdioTest, EscapeAbortsAndOtherKeysDoNot) {
  EXPECT_EQ(view_.Open(), kViewOk);
  host_->console.keys = {'q', kKeyEscape};
  EXPECT_FALSE(view_.IsAbortRequested());
  EXPECT_TRUE(view_.IsAbortRequested());
  EXPECT_FALSE(view_.IsAbortRequested());
  EXPECT_EQ(host_->console.reads, 3);
}

TEST_F(OrvanStdioTest, QuietViewNeverReadsTheKeyboard) {
  view_.Open();
  view_.SetQuiet(true);
  host_->console.keys = {kKeyEscape};
  EXPECT_FALSE(view_.IsAbortRequested());
  EXPECT_EQ(host_->console.reads, 0);
  view_.SetQuiet(false);
  EXPECT_TRUE(view_.IsAbortRequested());
}

TEST_F(OrvanStdioTest, TheKeyboardIsTakenUnlessTheViewIsQuiet) {
  view_.TakeKeyboard();
  EXPECT_EQ(host_->console.takes, 0) << "not open yet";
  view_.Open();
  view_.SetQuiet(true);
  view_.TakeKeyboard();
  EXPECT_EQ(host_->console.takes, 0);
  view_.SetQuiet(false);
  view_.TakeKeyboard();
  EXPECT_EQ(host_->console.takes, 1);
  EXPECT_EQ(host_->console.reads, 0);
}

TEST_F(OrvanStdioTest, ViewWithoutConsoleCanBePolled) {
  EXPECT_FALSE(view_.IsAbortRequested());
  host_->hasConsole = false;
  EXPECT_EQ(view_.Open(), kViewOk);
  EXPECT_FALSE(view_.IsAbortRequested());
  EXPECT_FALSE(view_.AskYesNo());
}

TEST_F(OrvanStdioTest, ProcessWideFlagAbortsQuietViewsToo) {
  view_.SetQuiet(true);
  GetProcessState().abort.AbortFlag = true;
  EXPECT_TRUE(view_.IsAbortRequested());
  GetProcessState().abort.AbortFlag = false;
  EXPECT_FALSE(view_.IsAbortRequested());
}

TEST_F(OrvanStdioTest, YesNoEchoesTheCodeOfTheKey) {
  struct Row {
    int key;
    bool answer;
    const char* echo;
  };
  view_.Open();
  for (const Row& row : {Row{'y', true, " - 121"}, Row{'Y', true, " - 89"},
                         Row{'n', false, " - 110"}, Row{'N', false, " - 78"}}) {
    host_->console.keys = {row.key};
    EXPECT_EQ(view_.AskYesNo(), row.answer);
    EXPECT_EQ(console_.Take(), row.echo);
  }
}

TEST_F(OrvanStdioTest, YesNoPassesOverOtherKeysAndPausesWhileNoneIsWaiting) {
  view_.Open();
  view_.PrintRaw("Go on?", false);
  host_->console.keys = {'x', kNoKey, kKeyEscape, kNoKey, 'y'};
  EXPECT_TRUE(view_.AskYesNo());
  EXPECT_EQ(host_->timer.sleeps, 2);
  EXPECT_EQ(console_.Flushed(), "Go on? - 121");
}

TEST_F(OrvanStdioTest, AssertGoesToStandardError) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(view_.ReportAssert("a == b", "cli.cpp", 12), kViewOk);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Assert Failed: a == b in file cli.cpp, line 12.\n");
  EXPECT_EQ(console_.Take(), "");
}

TEST_F(OrvanStdioTest, AssertThatCannotBeWrittenIsReported) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  std::setvbuf(full, nullptr, _IONBF, 0);
  std::FILE* saved = stderr;
  stderr = full;
  const ViewResult result = view_.ReportAssert("a", "f", 1);
  stderr = saved;
  std::fclose(full);
  EXPECT_EQ(result, kViewAssertFailed);
}

TEST_F(OrvanStdioTest, ConsoleIsGivenBackOnlyWhenItWasTaken) {
  {
    OrvanStdio opened(console_);
    opened.Open();
    const OrvanStdio unopened(console_);
  }
  EXPECT_EQ(host_->consoleUses, 1);
  EXPECT_EQ(host_->consoleReleases, 1);
}

class FailingConsoleTest : public OrvanStdioTest {
 protected:
  FailingConsoleTest() {
    view_.BeginModule("m");
    view_.BeginSuite("s", "m");
    view_.BeginDiagnostic("d");
    view_.BeginTest("t", DiagKey{});
    console_.Take();
    console_.FailWith(EPIPE);
  }
};

TEST_F(FailingConsoleTest, PrintsReturn46AndWriteNoMore) {
  EXPECT_EQ(view_.PrintRaw("a", true), kViewStreamFailed);
  EXPECT_EQ(view_.PrintRaw("a", false), kViewStreamFailed);
  EXPECT_EQ(view_.PrintSentence("a", true), kViewStreamFailed);
  EXPECT_EQ(view_.PrintTitle("a", true), kViewStreamFailed);
  EXPECT_EQ(view_.PrintField("a", "b", true), kViewStreamFailed);
  EXPECT_EQ(view_.PrintUnicode("a", true), kViewStreamFailed);
  EXPECT_EQ(view_.PrintNewLine(), kViewStreamFailed);
  EXPECT_EQ(view_.PrintSeparator(), kViewStreamFailed);
  EXPECT_EQ(view_.ClearLine(), kViewStreamFailed);
  EXPECT_EQ(view_.FinishExecutionBlock("a"), kViewStreamFailed);
}

TEST_F(FailingConsoleTest, TestAndScanLinesReturn45) {
  EXPECT_EQ(view_.ShowTestProgress(1, 0), kViewBadState);
  EXPECT_EQ(view_.ShowDeviceScan("m", false), kViewBadState);
  EXPECT_EQ(view_.ShowDeviceScan("m", true), kViewBadState);
  EXPECT_EQ(view_.EndTest(0, 0), kViewBadState);
  EXPECT_EQ(view_.ShowTestProgress(-1, 0), kViewOk);
}

TEST_F(FailingConsoleTest, NamesStayAsTheyWere) {
  EXPECT_EQ(view_.BeginTest("other", DiagKey{}), kViewStreamFailed);
  EXPECT_EQ(view_.EndTest(0, 0), kViewBadState);
  EXPECT_EQ(view_.test(), "t");
  EXPECT_EQ(view_.BeginDiagnostic("other"), kViewStreamFailed);
  EXPECT_EQ(view_.EndDiagnostic(), kViewStreamFailed);
  EXPECT_EQ(view_.diagnostic(), "d");
  EXPECT_EQ(view_.EndSuite("r", 0, false), kViewStreamFailed);
  EXPECT_EQ(view_.suite(), "s");
}

}  // namespace
