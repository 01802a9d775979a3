#include "service/core/executor_fixture.h"

namespace orvan::core {
namespace {

using testing::MakeDiagnostic;
using testing::MakeTest;
using testing::Passes;

class ExecutorRecordTest : public testing::ExecutorTest {};

TEST_F(ExecutorRecordTest, KeepsARecordOfEachTestWhenTheSettingsSaySo) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  Run();
  EXPECT_TRUE(records.empty());
  OrvanSettings settings;
  settings.SetBool(kSettingExecutionTracker, true);
  service->ApplySettings(settings);
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

TEST_F(ExecutorRecordTest, WhatTheRecordStoreHasToSayIsInTheLogAtOnceAndAtTheEnd) {
  const testing::TemporaryFolder folder;
  logFolder = folder.Path();
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  OrvanSettings settings;
  settings.SetBool(kSettingExecutionTracker, true);
  service->ApplySettings(settings);
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
