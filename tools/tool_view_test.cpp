#include "tools/tool_view.h"

#include "tests/fakes/tool_test.h"
#include "tools/tool_parts.h"

namespace {

// What a command asks of its screens, and one thing less.
static_assert(ToolScreens<ToolView>);
struct NoUsageHint : private ToolView {
  using ToolView::ReportNoDevices;
  using ToolView::ShowErrors;
  using ToolView::ShowHeader;
  using ToolView::ShowProgress;
  using ToolView::ShowScanning;
  using ToolView::ShowWarnings;
};
static_assert(!ToolScreens<NoUsageHint>);

const std::string kSigns(58, '=');

class ToolViewTest : public ToolTest {
 protected:
  ToolView view{capture, {"_|SOME_|PROGRAM", "|SOME_TOOL", " -Mstorage -Tsome -h", true}, false};
};

TEST_F(ToolViewTest, TheScreensAreInTheWordsOfTheTool) {
  view.ShowHeader(true);
  EXPECT_EQ(capture.Take(), "\n" + kSigns + "\n Some Program  -  Some tool\n" + kSigns + "\n\n\n");
  view.ShowUsageHint();
  EXPECT_EQ(capture.Take(),
            ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Tsome -h\n");
  ToolDeviceRecord device;
  device.id = "A_1";
  device.displayName = "FAST_|One";
  device.nonRotating = true;
  view.ShowDevices({device});
  EXPECT_EQ(capture.Take(), "> List of devices\n" + std::string(58, '-') +
                                "\n  Device Id\t\ta 1\n  Display Name\t\tFAST_|One\n"
                                "  * This device is a non rotating media (SSD)\n\n\n");
}

TEST_F(ToolViewTest, WarningsAndErrorsAreConverted) {
  view.ShowWarnings({});
  view.ShowErrors({});
  EXPECT_EQ(capture.Take(), "");
  view.ShowWarnings({"|IGNORING: ^X_1$", "|NO_VALID_OPTION_SPECIFIED"});
  EXPECT_EQ(capture.Take(), "[Warning] Ignoring: X_1\n[Warning] No valid option specified\n\n");
  view.ShowErrors({"|UNRECOGNIZED_OPTION_FOUND"});
  EXPECT_EQ(capture.Take(), ">> Errors:\n\t- Unrecognized option found\n\n");
}

TEST_F(ToolViewTest, NoDevicesAreAnErrorBehindTheOthers) {
  view.ReportNoDevices({});
  EXPECT_EQ(capture.Take(),
            ">> Errors:\n\t- There are no devices applicable for that operation\n\n");
  view.ReportNoDevices({"|LIST_OF_DEVICES"});
  EXPECT_EQ(capture.Take().substr(0, 42), ">> Errors:\n\t- List of devices\n\t- There are");
}

TEST_F(ToolViewTest, TheStartOfADeviceIsNamedAtOnceAndWithoutItsId) {
  view.OnDeviceInit("0", "DISK_|A");
  EXPECT_EQ(capture.Flushed(), "=> DISK_|A \n");
}

TEST_F(ToolViewTest, TheEndIsSilentWithoutAText) {
  view.ShowEnd("");
  EXPECT_EQ(capture.Take(), "");
  view.ShowEnd("OVER_|b");
  EXPECT_EQ(capture.Take(), "OVER_|b\n");
}

TEST_F(ToolViewTest, AMessageIsTakenOnceAndAsItIs) {
  EXPECT_EQ(view.TakeMessage(), "");
  view.SetMessage("SEE_|LOG");
  EXPECT_EQ(view.TakeMessage(), " - SEE_|LOG");
  EXPECT_EQ(view.TakeMessage(), "");
}

TEST_F(ToolViewTest, ProgressIsKeptAndDrawsNothingByItself) {
  view.SetProgress(42, 61);
  EXPECT_EQ(capture.Take(), "");
  EXPECT_EQ(view.percent(), 42U);
  view.ShowProgress(61);
  EXPECT_EQ(capture.Flushed(), "   42% - 1 minute 1 second  \r");
}

TEST_F(ToolViewTest, WipingCoversTheProgress) {
  view.WipeProgress();
  EXPECT_EQ(capture.Take(), "");
  view.ShowProgress(1);
  capture.Take();
  view.WipeProgress();
  EXPECT_EQ(capture.Flushed(), std::string(16, ' ') + "\r");
}

TEST_F(ToolViewTest, SearchAndProgressTurnOneSpinner) {
  view.ShowScanning();
  view.ShowScanning();
  view.ShowProgress(1);
  EXPECT_EQ(capture.Flushed(),
            "Scanning devices... -\rScanning devices... \\\r   0% | 1 second  \r");
}

TEST_F(ToolViewTest, WhetherTheSystemIsBootableIsKept) {
  EXPECT_FALSE(view.bootable());
  EXPECT_TRUE(ToolView(capture, {"", "", "", false}, true).bootable());
}

}  // namespace
