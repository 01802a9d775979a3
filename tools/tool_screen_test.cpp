#include "tools/tool_screen.h"

#include <chrono>
#include <cmath>
#include <limits>

#include "tests/fakes/tool_test.h"

namespace {

using Keys = std::vector<std::string>;

constexpr tarvex::ToolWords kWords{"_|SOME_|PROGRAM", "|SOME_TOOL", " -Mstorage -Tsome -h", true};
constexpr tarvex::ToolWords kPlainWords{"_|SOME_|PROGRAM", "|SOME_TOOL", " -h", false};
const std::string kSigns(58, '=');
const std::string kDashes(58, '-');

TEST(ToolHeader, EndsInThreeLinesWithoutTheAbortKeyAndInTwoWithIt) {
  EXPECT_EQ(tarvex::ToolHeader(kWords, true),
            "\n" + kSigns + "\n Some Program  -  Some tool\n" + kSigns + "\n\n\n");
  EXPECT_EQ(tarvex::ToolHeader(kWords, false), "\n" + kSigns + "\n Some Program  -  Some tool\n" +
                                                   " Press ESC To Abort Operations\n" + kSigns +
                                                   "\n\n");
}

class ToolWarnings : public ToolTest {};

TEST_F(ToolWarnings, EachIsWrittenOnItsOwnWithItsTagAndABlankLineEndsThem) {
  Keys written;
  const auto write = [&written](const std::string& text) { written.push_back(text); };
  tarvex::WriteToolWarnings(capture, {}, write);
  EXPECT_EQ(written, Keys{});
  EXPECT_EQ(capture.Take(), "");
  tarvex::WriteToolWarnings(capture, {"|IGNORING: ^A_b$", "NO_|GO"}, write);
  EXPECT_EQ(written, (Keys{"[Warning] Ignoring: A_b\n", "[Warning] no Go\n"}));
  EXPECT_EQ(capture.Take(), "\n");
}

TEST(ToolErrors, AreAListWithATitle) {
  EXPECT_EQ(tarvex::ToolErrors({}), "");
  EXPECT_EQ(tarvex::ToolErrors({"|FIRST_ONE", "second"}),
            ">> Errors:\n\t- First one\n\t- second\n\n");
}

TEST(ToolUsageHint, NamesTheProgramAndItsOptions) {
  EXPECT_EQ(tarvex::ToolUsageHint(kWords),
            ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Tsome -h\n");
}

TEST(ToolDeviceList, SaysThatThereAreNone) {
  EXPECT_EQ(tarvex::ToolDeviceList(kWords, {}),
            "> there are no applicable devices for this tool\n");
}

// The id is converted, the name is not.
TEST(ToolDeviceList, HasABlockForEachDevice) {
  ToolDeviceRecord disk;
  disk.id = "A_1";
  disk.displayName = "DISK_|A";
  ToolDeviceRecord flash;
  flash.id = "2";
  flash.displayName = "Flash";
  flash.nonRotating = true;
  const std::string first = "\n" + kDashes + "\n  Device Id\t\ta 1\n  Display Name\t\tDISK_|A\n\n";
  const std::string second = "\n" + kDashes + "\n  Device Id\t\t2\n  Display Name\t\tFlash\n";
  EXPECT_EQ(
      tarvex::ToolDeviceList(kWords, {disk, flash}),
      "> List of devices" + first + second + "  * This device is a non rotating media (SSD)\n\n\n");
  EXPECT_EQ(tarvex::ToolDeviceList(kPlainWords, {disk, flash}),
            "> List of devices" + first + second + "\n\n");
}

TEST(ToolElapsedText, PluralsOfHoursAndMinutesRubTheirBlankOut) {
  EXPECT_EQ(tarvex::ToolElapsedText(0), "0 second");
  EXPECT_EQ(tarvex::ToolElapsedText(1), "1 second");
  EXPECT_EQ(tarvex::ToolElapsedText(59), "59 seconds");
  EXPECT_EQ(tarvex::ToolElapsedText(60), "1 minute ");
  EXPECT_EQ(tarvex::ToolElapsedText(120), "2 minute \bs ");
  EXPECT_EQ(tarvex::ToolElapsedText(3600), "1 hour ");
  EXPECT_EQ(tarvex::ToolElapsedText(3661), "1 hour 1 minute 1 second");
  EXPECT_EQ(tarvex::ToolElapsedText(7322), "2 hour \bs 2 minute \bs 2 seconds");
}

TEST(ToolElapsedText, PartsAreCut) {
  EXPECT_EQ(tarvex::ToolElapsedText(1.9), "1 second");
  EXPECT_EQ(tarvex::ToolElapsedText(0.9), "0 second");
}

// The longest span that ticks can tell, minute by minute: no part is off by one.
TEST(SplitElapsed, EveryWholeSecondComesBack) {
  for (int second = 0; second < 4294968; second += 59) {
    const auto [hours, minutes, seconds] = tarvex::SplitElapsed(second);
    ASSERT_EQ(hours, second / 3600);
    ASSERT_EQ(minutes, second / 60 % 60);
    ASSERT_EQ(seconds, second % 60);
  }
}

TEST(SplitElapsed, WhatIsNoTimeCountsAsNone) {
  for (const double odd : {-1.0, std::nan(""), -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(tarvex::ToolElapsedText(odd), "0 second");
  }
  EXPECT_GT(tarvex::SplitElapsed(std::numeric_limits<double>::infinity()).hours, 0);
}

class ToolProgressLineTest : public ToolTest {
 protected:
  tarvex::ToolProgressLine line{capture};
};

TEST_F(ToolProgressLineTest, TheSpinnerTurnsWithEachUse) {
  for (const char* spinner : {"-", "\\", "|", "/", "-"}) {
    line.Show(7, 3);
    EXPECT_EQ(capture.Flushed(), std::string("   7% ") + spinner + " 3 seconds  \r");
    capture.Take();
  }
  line.ShowScanning();
  EXPECT_EQ(capture.Flushed(), "Scanning devices... \\\r");
}

TEST_F(ToolProgressLineTest, AShorterLineCoversTheOneBefore) {
  line.Show(100, 59);
  capture.Take();
  line.Show(5, 1);
  // "   100% - 59 seconds" has 20 characters, "   5% \ 1 second" has 16.
  EXPECT_EQ(capture.Take(), "   5% \\ 1 second" + std::string(4, ' ') + "  \r");
  line.Show(5, 1);
  EXPECT_EQ(capture.Take(), "   5% | 1 second  \r");
}

TEST_F(ToolProgressLineTest, WipingCoversTheLastLineAndKeepsIt) {
  line.Wipe();
  EXPECT_EQ(capture.Take(), "");
  line.Show(5, 1);
  capture.Take();
  line.Wipe();
  EXPECT_EQ(capture.Flushed(), std::string(16, ' ') + "\r");
  capture.Take();
  line.Wipe();
  EXPECT_EQ(capture.Take(), std::string(16, ' ') + "\r");
}

TEST_F(ToolProgressLineTest, TheBlankingCoversTheSearch) {
  tarvex::WriteToolBlanking(capture);
  EXPECT_EQ(capture.Flushed(), std::string(35, ' ') + "\r");
}

TEST_F(ToolProgressLineTest, TextIsUtf8) {
  tarvex::WriteTool(capture, "M\xC3\xBCller \xFF");
  EXPECT_EQ(capture.Take(), "M\xC3\xBCller \xEF\xBF\xBD");
}

}  // namespace
