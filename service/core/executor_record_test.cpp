#include <chrono>

#include "service/core/execution_record.h"
#include "service/log/log_time.h"
#include "tests/support/executor_fixture.h"

namespace orvan::core {
namespace {

using testing::MakeDiagnostic;
using testing::MakeTest;
using testing::Passes;

class ExecutorRecordTest : public testing::ExecutorTest {
 protected:
  void KeepRecords() {
    OrvanSettings settings;
    settings.SetBool(kSettingExecutionTracker, true);
    service->ApplySettings(settings);
  }
  bool IsLogged(const std::string& text) const {
    const std::vector<std::string> lines = testing::LogLines(logFolder);
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }
};

TEST_F(ExecutorRecordTest, KeepsARecordOfEachTestWhenTheSettingsSaySo) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  Run();
  EXPECT_TRUE(records.empty());
  KeepRecords();
  Run();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].moduleName, "Plain");
  EXPECT_EQ(records[0].deviceUdi, "serial-0");
  EXPECT_EQ(records[0].deviceDisplayName, "Device 0");
  EXPECT_EQ(records[0].testName, "a");
  EXPECT_EQ(records[0].status, 0);
  EXPECT_EQ(records[0].startTimestamp.size(), 29U);
  EXPECT_EQ(records[0].duration.substr(0, 2), "0.");
  service->ExecuteDiagnostics(module, nullptr, testing::WholePlan(*module));
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].deviceUdi, "");
}

TEST_F(ExecutorRecordTest, TheStartIsThatOfTheTestAndTheDurationHowLongItTook) {
  using Clock = std::chrono::steady_clock;
  std::int64_t within = 0;
  const auto test = [&](sdk::TestContext&) {
    const auto start = Clock::now();
    within = log::NowMilliseconds();
    while (log::NowMilliseconds() < within + 3 ||
           Clock::now() < start + std::chrono::milliseconds(3)) {
    }
    return sdk::Verdict::Passed();
  };
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, test)})};
  Start();
  KeepRecords();
  const std::int64_t before = log::NowMilliseconds();
  const auto start = Clock::now();
  Run();
  const std::chrono::duration<double> whole = Clock::now() - start;
  ASSERT_EQ(records.size(), 1U);
  EXPECT_GE(records[0].startTimestamp, LocalTimeText(before));
  EXPECT_LE(records[0].startTimestamp, LocalTimeText(within));
  EXPECT_GE(std::stod(records[0].duration), 0.003);
  EXPECT_LE(std::stod(records[0].duration), whole.count() + 0.001);
}

TEST_F(ExecutorRecordTest, ARecordIsKeptBeforeItsTestIsShownAsFinished) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  KeepRecords();
  std::size_t kept = 0;
  suite.onTestEnd = [&] { kept = records.size(); };
  Run();
  EXPECT_EQ(kept, 1U);
}

TEST_F(ExecutorRecordTest, ADeviceThatThrowsCostsNoRecord) {
  const testing::TemporaryFolder folder;
  logFolder = folder.Path();
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  plain->scan = [](std::stop_token) {
    auto device = std::make_unique<testing::PlainDevice>("0");
    device->broken = true;
    std::vector<std::unique_ptr<sdk::Device>> devices;
    devices.push_back(std::move(device));
    return devices;
  };
  Start();
  KeepRecords();
  Run();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].testName, "a");
  EXPECT_EQ(records[0].deviceUdi, "serial-0");
  EXPECT_EQ(records[0].deviceDisplayName, "");
  EXPECT_TRUE(IsLogged("execution record of a: no information"));
}

TEST_F(ExecutorRecordTest, ATrackerThatThrowsChangesNoVerdict) {
  const testing::TemporaryFolder folder;
  logFolder = folder.Path();
  trackerIsBroken = true;
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  KeepRecords();
  Run();
  EXPECT_EQ(FinalCode(), "5.0.0.0-PASSED-7");
  EXPECT_TRUE(IsLogged("execution record of a: no store"));
}

TEST_F(ExecutorRecordTest, WhatTheRecordStoreHasToSayIsInTheLogAtOnceAndAtTheEnd) {
  const testing::TemporaryFolder folder;
  logFolder = folder.Path();
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  KeepRecords();
  const auto isAt = [&](const std::string& note, std::size_t fromEnd) {
    const std::vector<std::string> lines = testing::LogLines(logFolder);
    return lines.size() >= fromEnd &&
           lines[lines.size() - fromEnd] ==
               R"("testRunArtifact":{"log":{"severity":"WARNING","message":")" + note + R"("}}})";
  };
  store.notes = {"disk is full"};
  Run();
  EXPECT_TRUE(isAt("disk is full", 2));  // the end of the device's run is behind it
  service->Close();
  EXPECT_TRUE(isAt("finished", 2));  // the end of the log is behind it
}

}  // namespace
}  // namespace orvan::core
