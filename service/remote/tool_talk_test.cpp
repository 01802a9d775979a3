#include "service/remote/tool_talk.h"

#include <gmock/gmock.h>

#include "service/remote/remote_test_support.h"

namespace orvan::remote {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

// A tool's surroundings whose every part a test can set.
class ToolContext final : public sdk::ToolContext {
 public:
  bool HasListener() const override { return hasListener; }
  const std::vector<const sdk::Device*>& Devices() const override { return devices; }
  const std::vector<const sdk::Device*>& Candidates() const override { return candidates; }
  void SetProperty(const std::string& key, const std::vector<std::string>& values) override {
    properties[key] = values;
  }
  std::vector<std::string> GetProperty(const std::string& key) const override {
    const auto found = properties.find(key);
    return found != properties.end() ? found->second : std::vector<std::string>{};
  }
  bool Fire(const std::string& event) override {
    fired.push_back(event);
    if (event == "OnDeviceFinish") {
      ends.push_back(Joined("DeviceFinish") + '|' + Joined("SectorsInfo") + '|' +
                     Joined("Message"));
    }
    if (onFire) onFire();
    return true;
  }
  void Withdraw(const sdk::Device& device) override { withdrawn.push_back(device.Id()); }
  std::stop_token StopToken() const override { return stop.get_token(); }
  sdk::StopReason WhyStop() const override { return sdk::StopReason::kForced; }
  std::uint32_t SystemEvents() const override { return 6; }
  void Log(sdk::LogLevel /*level*/, const std::string& text) override { log.push_back(text); }
  void Fail(const std::string& reason) override { failure = reason; }

  bool hasListener = true;
  std::vector<std::string> ends;  // of devices: the end, the counts, the message
  std::vector<const sdk::Device*> devices;
  std::vector<const sdk::Device*> candidates;
  std::map<std::string, std::vector<std::string>> properties;
  std::vector<std::string> fired;
  std::function<void()> onFire;
  std::vector<std::string> withdrawn;
  std::stop_source stop;
  std::vector<std::string> log;
  std::string failure;

 private:
  std::string Joined(const std::string& key) const {
    std::string text;
    for (const std::string& value : GetProperty(key)) text += (text.empty() ? "" : " ") + value;
    return text;
  }
};

const std::vector<std::string> kWholeRepair{
    "OnRecoverInit", "OnOperationInit", "OnDeviceInit",      "OnDeviceFinish",
    "OnDeviceInit",  "OnDeviceFinish",  "OnOperationFinish", "OnRecoverFinish"};

class ToolTalkTest : public testing::RemoteModuleTest {
 protected:
  void RunTool() { Module().Tools().at(0).run(context); }
  void ScanForTool() {
    for (const auto& device : Scan()) context.devices.push_back(device.get());
  }
  // What it throws.
  std::string Thrown() {
    try {
      RunTool();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "nothing";
  }

  ToolContext context;
};

TEST_F(ToolTalkTest, PropertiesEventsAndDevicesPass) {
  settings["tool"] = "talk";
  context.devices = {Scan()[0].get(), Scan()[1].get()};
  const auto& devices = Scan();
  context.devices = {devices[0].get(), devices[1].get()};
  context.properties["Given"] = {"a", "", std::string(300000, 'x')};
  RunTool();
  EXPECT_EQ(context.properties["Seen"], context.properties["Given"]);
  EXPECT_THAT(context.properties["Handled"], ElementsAre("yes"));
  EXPECT_THAT(context.properties["Devices"], ElementsAre("2"));
  EXPECT_THAT(context.properties["Events"], ElementsAre("6"));
  EXPECT_THAT(context.fired, ElementsAre("OnToolStart"));
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(ToolTalkTest, CandidatesAreWithdrawn) {
  settings["tool"] = "withdraw";
  const auto& devices = Scan();
  context.candidates = {devices[1].get(), devices[0].get()};
  RunTool();
  EXPECT_THAT(context.withdrawn, ElementsAre("0"));
}

TEST_F(ToolTalkTest, AnOutcomeThatIsNoSuccessPasses) {
  settings["tool"] = "fail";
  RunTool();
  EXPECT_EQ(context.failure, "failed on purpose");
}

TEST_F(ToolTalkTest, OneThatLooksEndsAtItsStopAndKnowsWhy) {
  settings["tool"] = "wait";
  context.onFire = [this] { context.stop.request_stop(); };
  RunTool();
  EXPECT_THAT(context.log, ElementsAre("stopped for reason 2"));
  EXPECT_EQ(context.failure, "");
}

TEST_F(ToolTalkTest, WhatItThrowsIsThrownHere) {
  settings["tool"] = "throw";
  EXPECT_EQ(Thrown(), "thrown on purpose");
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(ToolTalkTest, ItsListenerIsToldWhatBecameOfItsWorker) {
  for (const auto& [deed, end] : std::map<std::string, std::string>{
           {"abort", "was ended by signal 6 (SIGABRT)"},
           {"exit", "ended by itself, with status 3"},
           {"garbage", "said what is no answer"},
           {"close-all", "ended by itself, with status 101 (its connection was lost)"}}) {
    settings["tool"] = "in-device-" + deed;
    Forget();
    context.devices.clear();
    context.fired.clear();
    context.ends.clear();
    ScanForTool();
    EXPECT_EQ(Thrown(), "nothing") << deed;
    EXPECT_EQ(context.fired, kWholeRepair) << deed;
    EXPECT_THAT(context.ends,
                ElementsAre("0 10|7 1 0 1|the worker " + end, "1 10|0 0 0 0|the worker " + end))
        << deed;
    EXPECT_EQ(context.failure, "the worker " + end);
  }
  EXPECT_TRUE(journal.told.empty());
}

TEST_F(ToolTalkTest, OneThatNeverLooksEndsWithItsWorkerAndItsDevicesAreCanceled) {
  settings["tool"] = "in-device-hang";
  limits.testGrace = 200ms;
  ScanForTool();
  context.onFire = [this] { context.stop.request_stop(); };
  RunTool();
  EXPECT_EQ(context.fired, kWholeRepair);
  const std::string end = "the worker did not end in time when it was to stop";
  EXPECT_THAT(context.ends, ElementsAre("0 8|7 1 0 1|" + end, "1 8|0 0 0 0|" + end));
  EXPECT_EQ(context.failure, end);
  EXPECT_THAT(journal.lines, ElementsAre("tool recover_bad_sectors: the worker of module Selftest "
                                         "did not end in time when it was to stop"));
}

TEST_F(ToolTalkTest, AToolThatReadsAttributesHasFailedInItsOwnWords) {
  settings["tool"] = "exit";
  settings["tool-name"] = "smart_tool";
  ScanForTool();
  EXPECT_EQ(Thrown(), "nothing");
  EXPECT_THAT(context.fired, ElementsAre("OnSmartToolInit", "OnDeviceInit", "OnDeviceFinish",
                                         "OnDeviceInit", "OnDeviceFinish", "OnSmartToolFinish"));
  EXPECT_EQ(context.properties["DeviceFinish"], (std::vector<std::string>{"1", "1", "", "", ""}));
}

TEST_F(ToolTalkTest, AToolThatReadsAttributesAndNeverLooksIsCanceledAndHasNotFailed) {
  settings["tool"] = "in-device-hang";
  settings["tool-name"] = "smart_tool";
  limits.testGrace = 200ms;
  ScanForTool();
  context.onFire = [this] { context.stop.request_stop(); };
  RunTool();
  ASSERT_EQ(context.ends.size(), 2U);
  const std::vector<std::string>& finish = context.properties["DeviceFinish"];
  ASSERT_EQ(finish.size(), 5U);
  EXPECT_EQ(finish[1], "8");
  // With these two the view shows a status for what it is, and else for "not possible".
  EXPECT_EQ(finish[2], "scsi");
  EXPECT_FALSE(finish[4].empty());
  EXPECT_EQ(context.failure, "the worker did not end in time when it was to stop");
}

TEST_F(ToolTalkTest, WhereNobodyKnowsTheToolsWordsTheProgramTellsOfItsEnd) {
  settings["tool"] = "exit";
  settings["tool-name"] = "other";
  EXPECT_EQ(Thrown(), "nothing");
  EXPECT_TRUE(context.fired.empty());
  EXPECT_THAT(journal.told, ElementsAre("tool other: the worker ended by itself, with status 3"));
  EXPECT_EQ(context.failure, "the worker ended by itself, with status 3");
}

TEST_F(ToolTalkTest, AFilteringRunThatFailedLeavesNoDeviceToTheTool) {
  settings["tool"] = "exit";
  context.hasListener = false;
  ScanForTool();
  context.candidates.swap(context.devices);
  EXPECT_EQ(Thrown(), "nothing");
  EXPECT_THAT(context.withdrawn, ElementsAre("0", "1"));
  EXPECT_EQ(journal.told.size(), 1U);
}

TEST_F(ToolTalkTest, OneThatIsToStopBeforeItBeginsIsReportedCanceled) {
  settings["tool"] = "in-device-exit";
  settings["tool-writes"] = "yes";
  ScanForTool();
  context.stop.request_stop();
  RunTool();
  EXPECT_EQ(context.fired, kWholeRepair);
  EXPECT_THAT(context.ends, ElementsAre("0 8|0 0 0 0|", "1 8|0 0 0 0|"));
  EXPECT_EQ(context.failure, "");
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(ToolTalkTest, APropertyThatIsTooLongIsNoEmptyOne) {
  settings["tool"] = "talk";
  context.properties["Given"] = {std::string(2U << 20, 'x')};
  EXPECT_EQ(Thrown(), "Given holds more than a message may hold");
}

TEST_F(ToolTalkTest, WhatAToolHasForTheLogHasABound) {
  settings["tool"] = "log-without-end";
  RunTool();
  // Of half a mebibyte and the entry's own bytes 31 fit into 16 MiB.
  ASSERT_EQ(context.log.size(), 32U);
  EXPECT_EQ(context.log[30].size(), 512U << 10);
  EXPECT_EQ(context.log[31], "The rest of what the tool has for the log is left out");
  // Each run has its own.
  RunTool();
  EXPECT_EQ(context.log.size(), 64U);
}

TEST_F(ToolTalkTest, WhatIsOfAnotherRequestOrOfNoDeviceIsNoAnswer) {
  for (const char* deed : {"forge", "withdraw-too-far"}) {
    settings["tool"] = deed;
    Forget();
    context = {};
    for (const auto& device : Scan()) context.candidates.push_back(device.get());
    RunTool();
    EXPECT_EQ(context.failure, "the worker said what is no answer") << deed;
  }
}

}  // namespace
}  // namespace orvan::remote
