#include "tools/recover/rbs_cli_stdio.h"

#include "tests/fakes/tool_test.h"

namespace {

using Texts = std::vector<std::string>;

const std::string kSigns(58, '=');
const std::string kDashes(58, '-');

class RbsCliStdioTest : public ToolTest {
 protected:
  // The block of a device's result.
  std::string Finish(std::int32_t status, double seconds = 0, const Texts& counts = {},
                     const std::string& badSectors = {}) {
    view.OnDeviceFinish("0", "Disk A", status, seconds, counts, badSectors, "repair");
    return capture.Take();
  }
  static std::string Block(const std::string& status, const std::string& elapsed = "0 second") {
    return "   Operation status: " + status + "\n   Elapsed time: " + elapsed + "\n\n";
  }
  std::string Progress(std::uint32_t percent, double seconds) {
    view.SetProgress(percent, seconds);
    EXPECT_EQ(capture.Take(), "");
    view.ShowProgress(seconds);
    return capture.Take();
  }

  RbsCliStdio view{capture, false};
};

TEST_F(RbsCliStdioTest, TheHeaderHasThreeLineFeedsWithoutTheAbortKeyAndTwoWithIt) {
  const std::string title = "\n" + kSigns + "\n Tarvex Helm Desk  -  Recover bad sectors tool\n";
  view.ShowHeader(true);
  EXPECT_EQ(capture.Take(), title + kSigns + "\n\n\n");
  view.ShowHeader(false);
  EXPECT_EQ(capture.Take(), title + " Press ESC To Abort Operations\n" + kSigns + "\n\n");
}

TEST_F(RbsCliStdioTest, WarningsAndErrorsAreConverted) {
  view.ShowWarnings({"|IGNORING: ^X_1$"});
  EXPECT_EQ(capture.Take(), "[Warning] Ignoring: X_1\n\n");
  view.ShowErrors({"|UNRECOGNIZED_OPTION_FOUND"});
  EXPECT_EQ(capture.Take(), ">> Errors:\n\t- Unrecognized option found\n\n");
}

TEST_F(RbsCliStdioTest, TheUsageHintNamesTheHelp) {
  view.ShowUsageHint();
  EXPECT_EQ(capture.Take(),
            ">> To see instructions use: TarvexDiagnosticsCLI -Mstorage -Trecover -h\n");
}

TEST_F(RbsCliStdioTest, TheVersionIsInTheCaseOfKeys) {
  view.ShowVersion();
  EXPECT_EQ(capture.Take(), "> Recover bad sectors tool 1.0.0 beta\n\n");
}

TEST_F(RbsCliStdioTest, TheHelpIsAsItIs) {
  view.ShowHelp();
  EXPECT_EQ(capture.Take(),
            "> General options\n"
            "  Usage: TarvexDiagnosticsCLI  -Mstorage -Trecover [option(s)]\n"
            "  Options:\n"
            "\t-h, --help\t       Shows the CLI instructions\n"
            "\t-l, --list-devices     Shows the devices\n"
            "\n"
            "> Scan and Repair Bad Sectors\n"
            "  Usage: TarvexDiagnosticsCLI  -Mstorage -Trecover -r [device id(s)]\n"
            "\n"
            "  Examples:\n"
            "\t=> Perform Scan and Repair on devices 0 and 2\n"
            "\t   TarvexDiagnosticsCLI  -Mstorage -Trecover -r 0 2\n"
            "\t=> Perform Scan and repair on all applicable devices\n"
            "\t   TarvexDiagnosticsCLI  -Trecover -r\n"
            "\n");
}

TEST_F(RbsCliStdioTest, TheListTellsOfNonRotatingDevices) {
  view.ShowDevices({});
  EXPECT_EQ(capture.Take(), "> there are no applicable devices for this tool\n");
  ToolDeviceRecord device;
  device.id = "A_1";
  device.displayName = "FAST_|One";
  device.nonRotating = true;
  view.ShowDevices({device});
  EXPECT_EQ(capture.Take(), "> List of devices\n" + kDashes +
                                "\n  Device Id\t\ta 1\n  Display Name\t\tFAST_|One\n"
                                "  * This device is a non rotating media (SSD)\n\n\n");
}

TEST_F(RbsCliStdioTest, NoDevicesAreAnErrorBehindTheOthers) {
  view.ReportNoDevices({"|FIRST"});
  EXPECT_EQ(capture.Take(),
            ">> Errors:\n\t- First\n\t- There are no devices applicable for that operation\n\n");
}

class RecordedWriteRaw : public RbsCliStdio {
 public:
  using RbsCliStdio::RbsCliStdio;
  void WriteRaw(const std::string& text) override { written.push_back(text); }
  Texts written;
};

TEST_F(RbsCliStdioTest, EachWarningIsAWriteOfItsOwnAndNoneIsNone) {
  RecordedWriteRaw recorded(capture, false);
  recorded.ShowWarnings({});
  EXPECT_EQ(recorded.written, Texts{});
  EXPECT_EQ(capture.Take(), "");
  recorded.ShowWarnings({"|FIRST", "|SECOND"});
  EXPECT_EQ(recorded.written, (Texts{"[Warning] First\n", "[Warning] Second\n"}));
}

class CountedErrors : public RbsCliStdio {
 public:
  using RbsCliStdio::RbsCliStdio;
  void ShowErrors(const std::vector<std::string>& keys) override { shown += keys.size(); }
  std::size_t shown = 0;
};

TEST_F(RbsCliStdioTest, NoDevicesAreShownAsAViewShowsErrors) {
  CountedErrors counted(capture, false);
  counted.ReportNoDevices({"|FIRST"});
  EXPECT_EQ(counted.shown, 2U);
  EXPECT_EQ(capture.Take(), "");
}

TEST_F(RbsCliStdioTest, TheQuestionLeavesTheLineOpen) {
  view.ShowConfirmation();
  EXPECT_EQ(capture.Take(),
            "> The execution of the scan and repair can cause data loss. It is recommended to make "
            "a backup before execute this operation.\n"
            "> Are you sure you want to proceed? (y/n) ");
}

TEST_F(RbsCliStdioTest, RawTextIsWrittenAsItIs) {
  view.WriteRaw("A_|b^$\n");
  EXPECT_EQ(capture.Take(), "A_|b^$\n");
}

TEST_F(RbsCliStdioTest, StartsAreNamedAndTheIdIsNotShown) {
  view.ViewStart();
  view.OnRecoverInit();
  EXPECT_EQ(capture.Take(), "");
  view.OnOperationInit("repair");
  EXPECT_EQ(capture.Take(), "Started Operation: Repair\n");
  view.OnDeviceInit("0", "DISK_|A");
  EXPECT_EQ(capture.Flushed(), "=> DISK_|A \n");
}

TEST_F(RbsCliStdioTest, TheEndOfAnOperationIsALineFeedAndThatOfAllNothing) {
  view.OnOperationFinish("");
  EXPECT_EQ(capture.Take(), "\n");
  view.OnRecoverFinish("");
  EXPECT_EQ(capture.Take(), "");
  view.OnRecoverFinish("Over");
  EXPECT_EQ(capture.Take(), "Over\n");
}

TEST_F(RbsCliStdioTest, EachStatusHasItsWords) {
  EXPECT_EQ(Finish(0), Block("No errors were found"));
  EXPECT_EQ(Finish(2), Block("Hard disk locked"));
  EXPECT_EQ(Finish(6), Block("Recover bad sectors is not supported on this device"));
  EXPECT_EQ(Finish(7), Block("Not enough privileges"));
  EXPECT_EQ(Finish(8), Block("Canceled"));
  EXPECT_EQ(Finish(9), Block("Passed"));
  EXPECT_EQ(Finish(10), Block("Unable to fix errors"));
  EXPECT_EQ(Finish(12), Block("Errors were found"));
  EXPECT_EQ(Finish(14), Block("Read operation timeout"));
  EXPECT_EQ(Finish(15), Block("Write operation timeout"));
}

TEST_F(RbsCliStdioTest, OtherStatusesLeaveTheLineBehindTheBlank) {
  for (const std::int32_t status : {-1, 1, 3, 4, 5, 11, 16, 99}) {
    EXPECT_EQ(Finish(status), Block("")) << status;
  }
}

TEST_F(RbsCliStdioTest, ASystemEventIsNamedBehindTheMessage) {
  const std::string event =
      " - Operation aborted because a system event that could compromise the outcome has happened";
  EXPECT_EQ(Finish(13), Block("Canceled" + event));
  view.SetMessage("LOW_|BATTERY");
  EXPECT_EQ(Finish(13), Block("Canceled - LOW_|BATTERY" + event));
}

TEST_F(RbsCliStdioTest, AMessageIsShownOnceAndAsItIs) {
  view.SetMessage("SEE_|LOG");
  EXPECT_EQ(Finish(9), Block("Passed - SEE_|LOG"));
  EXPECT_EQ(Finish(9), Block("Passed"));
  view.SetMessage("a");
  EXPECT_EQ(Finish(3), Block(" - a"));
}

TEST_F(RbsCliStdioTest, CountsComeInPairs) {
  const std::string pair = "   Number of sectors read: 800\n   Number of bad sectors found: 6\n";
  const std::string all =
      pair + "   Number of fixed sectors: 4\n   Number of non fixed sectors: 2\n";
  EXPECT_EQ(Finish(9, 0, {"800"}), Block("Passed"));
  EXPECT_EQ(Finish(9, 0, {"800", "6"}), pair + Block("Passed"));
  EXPECT_EQ(Finish(9, 0, {"800", "6", "4"}), pair + Block("Passed"));
  EXPECT_EQ(Finish(9, 0, {"800", "6", "4", "2"}), all + Block("Passed"));
  EXPECT_EQ(Finish(9, 0, {"800", "6", "4", "2", "1"}), all + Block("Passed"));
}

TEST_F(RbsCliStdioTest, CountsAreShownOfDevicesThatWereRead) {
  for (std::int32_t status = -1; status < 20; ++status) {
    const bool shown = status == 0 || (status >= 8 && status <= 15);
    EXPECT_EQ(Finish(status, 0, {"1", "0"}).find("sectors read") != std::string::npos, shown)
        << status;
  }
}

TEST_F(RbsCliStdioTest, TimesAreInWords) {
  EXPECT_EQ(Finish(9, 0), Block("Passed", "0 second"));
  EXPECT_EQ(Finish(9, 120), Block("Passed", "2 minute \bs "));
  EXPECT_EQ(Finish(9, 3661), Block("Passed", "1 hour 1 minute 1 second"));
}

TEST_F(RbsCliStdioTest, BadSectorsStandBelowWithTheMarginOnEachLine) {
  EXPECT_EQ(Finish(9, 0, {}, "1, 2, 3, 4, 5\n6"),
            "   Operation status: Passed\n   Elapsed time: 0 second\n"
            "\n   Bad sectors list:\n   1, 2, 3, 4, 5\n   6\n\n");
  EXPECT_EQ(Finish(9, 0, {}, "7"),
            "   Operation status: Passed\n   Elapsed time: 0 second\n"
            "\n   Bad sectors list:\n   7\n\n");
}

TEST_F(RbsCliStdioTest, TheProgressLineShowsTheLatestPercentage) {
  EXPECT_EQ(Progress(0, 0), "   0% - 0 second  \r");
  EXPECT_EQ(Progress(42, 61), "   42% \\ 1 minute 1 second  \r");
}

TEST_F(RbsCliStdioTest, AShorterProgressLineLeavesNoTrace) {
  Progress(100, 10);  // "   100% - 10 seconds" has 20 characters, "   5% \ 1 second" has 16
  EXPECT_EQ(Progress(5, 1), "   5% \\ 1 second" + std::string(4, ' ') + "  \r");
}

TEST_F(RbsCliStdioTest, AResultWipesTheProgressLine) {
  Progress(5, 1);
  const std::string wiped = std::string(16, ' ') + "\r";
  EXPECT_EQ(Finish(9), wiped + Block("Passed"));
  // The stored line stays, and so the next device wipes it again.
  EXPECT_EQ(Finish(9), wiped + Block("Passed"));
}

TEST_F(RbsCliStdioTest, TheSearchShowsTheSpinner) {
  view.ShowScanning();
  view.ShowScanning();
  EXPECT_EQ(capture.Flushed(), "Scanning devices... -\rScanning devices... \\\r");
}

TEST_F(RbsCliStdioTest, WhetherTheSystemIsBootableIsKept) {
  EXPECT_FALSE(view.bootable());
  EXPECT_TRUE(RbsCliStdio(capture, true).bootable());
}

}  // namespace
