#include "tools/recover/rbs_cli_stdio_hdk.h"

#include <algorithm>
#include <stdexcept>

#include "tests/fakes/tool_test.h"
#include "tests/support/steering_texts.h"

namespace {

using Texts = std::vector<std::string>;

class RbsCliStdioHdkTest : public ToolTest {
 protected:
  std::string Finish(std::int32_t status, double seconds = 0,
                     const Texts& counts = {"800", "6", "4", "2"}) {
    view.OnDeviceFinish("0", "Disk A", status, seconds, counts, "1, 2", "repair");
    return capture.Take();
  }
  // What is sent of a percentage.
  std::string Progress(std::uint32_t percent) {
    view.SetProgress(percent, 0);
    EXPECT_EQ(capture.Take(), "");
    view.ShowProgress(0);
    return capture.Take();
  }
  std::string Clock(double seconds) {
    const std::string line = Finish(9, seconds);
    return line.substr(line.rfind('|') + 1);
  }

  RbsCliStdioHdk view{capture, false};
};

TEST_F(RbsCliStdioHdkTest, WhatIsForAPersonIsSilent) {
  RbsCliStdio& console = view;
  console.ShowErrors({"|A"});
  console.ShowWarnings({"|A"});
  console.ShowVersion();
  console.ShowUsageHint();
  console.ShowHeader(true);
  console.ShowConfirmation();
  console.ShowHelp();
  console.WriteRaw("a");
  console.ReportNoDevices({});
  console.OnOperationInit("repair");
  console.OnOperationFinish("");
  console.ShowScanning();
  console.ViewStart();
  EXPECT_EQ(capture.Take(), "");
}

TEST_F(RbsCliStdioHdkTest, NoFieldMakesALine) {
  const std::string hostile = tarvex::testing::SteeringText();
  ToolDeviceRecord device;
  device.id = device.displayName = hostile;
  view.ShowDevices({device});
  view.OnDeviceInit(hostile, hostile);
  view.OnDeviceFinish(hostile, hostile, 0, 0, Texts(4, hostile), hostile, hostile);
  const std::string sent = capture.Take();
  EXPECT_EQ(std::count(sent.begin(), sent.end(), '\n'), 1 + 2 + 1 + 1 + 1);
  EXPECT_EQ(tarvex::testing::SteeringIn(sent, "\n"), L"");
}

TEST_F(RbsCliStdioHdkTest, TheBeginAndTheEndOfARunAreEmptyLines) {
  view.OnRecoverInit();
  EXPECT_EQ(capture.Flushed(), "\n");
  view.OnRecoverFinish("text");
  EXPECT_EQ(capture.Flushed(), "\n\n");
}

TEST_F(RbsCliStdioHdkTest, DevicesAreListedInBlocksWithoutConversion) {
  view.ShowDevices({});
  EXPECT_EQ(capture.Take(), "\n");
  ToolDeviceRecord disk;
  disk.id = "A_1";
  disk.displayName = "DISK_|A";
  ToolDeviceRecord flash;
  flash.id = "2";
  flash.displayName = "Flash";
  flash.nonRotating = true;
  view.ShowDevices({disk, flash});
  EXPECT_EQ(capture.Flushed(),
            "\nID:::A_1\nDISPLAY_NAME:::DISK_|A\n\nID:::2\nDISPLAY_NAME:::Flash\n\n");
}

TEST_F(RbsCliStdioHdkTest, ADeviceBeginsWithItsIdAndName) {
  view.OnDeviceInit("A_1", "DISK_|A");
  EXPECT_EQ(capture.Flushed(), "BeginRBS:::SCAN_AND_FIX_TOOL|A_1|DISK_|A\n");
}

TEST_F(RbsCliStdioHdkTest, MultiplesOfTenAreSentWithThreeDigits) {
  EXPECT_EQ(Progress(0), "PrgRBS:::000\n");
  EXPECT_EQ(Progress(10), "PrgRBS:::010\n");
  EXPECT_EQ(Progress(100), "PrgRBS:::100\n");
  EXPECT_EQ(Progress(1000), "PrgRBS:::1000\n");
}

TEST_F(RbsCliStdioHdkTest, APercentageThatRepeatsIsNotSentAgain) {
  EXPECT_EQ(Progress(0), "PrgRBS:::000\n");
  EXPECT_EQ(Progress(0), "");
}

TEST_F(RbsCliStdioHdkTest, OtherPercentagesAreKeptAsTheLastLineAndNotSent) {
  EXPECT_EQ(Progress(10), "PrgRBS:::010\n");
  EXPECT_EQ(Progress(7), "");
  EXPECT_EQ(Progress(10), "PrgRBS:::010\n");
}

TEST_F(RbsCliStdioHdkTest, ADeviceEndsWithItsCountsStatusAndTime) {
  EXPECT_EQ(Finish(9, 3725), "EndRBS:::0|800|6|4|2|9|01:02:05\n");
  view.OnDeviceFinish("A_1", "n", 0, 0, {"1", "0", "0", "0", "9"}, "", "repair");
  EXPECT_EQ(capture.Flushed(), "EndRBS:::A_1|1|0|0|0|0|00:00:00\n");
}

TEST_F(RbsCliStdioHdkTest, OnlyKnownStatusesEndADevice) {
  const std::set<std::int32_t> known{0, 2, 6, 7, 8, 9, 10, 12, 13, 14, 15};
  for (std::int32_t status = -2; status < 30; ++status) {
    EXPECT_EQ(Finish(status).empty(), known.count(status) == 0) << status;
  }
}

TEST_F(RbsCliStdioHdkTest, AKnownStatusNeedsAllFourCountsAndOthersNone) {
  EXPECT_THROW(Finish(9, 0, {"1", "2", "3"}), std::out_of_range);
  EXPECT_EQ(capture.Take(), "");
  EXPECT_EQ(Finish(1, 0, {}), "");
}

TEST_F(RbsCliStdioHdkTest, OneSecondCountsAsNone) {
  EXPECT_EQ(Clock(0), "00:00:00\n");
  EXPECT_EQ(Clock(1), "00:00:00\n");
  EXPECT_EQ(Clock(2), "00:00:02\n");
  EXPECT_EQ(Clock(59), "00:00:59\n");
  EXPECT_EQ(Clock(61), "00:01:00\n");
  EXPECT_EQ(Clock(36000 + 11 * 60), "10:11:00\n");
  EXPECT_EQ(Clock(360000), "100:00:00\n");
}

TEST_F(RbsCliStdioHdkTest, NoMessageAndNoWipingGetsBetweenTheLines) {
  Progress(10);
  view.SetMessage("SEE_|LOG");
  EXPECT_EQ(Finish(9), "EndRBS:::0|800|6|4|2|9|00:00:00\n");
}

}  // namespace
