#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "tests/support/tool_adapter_fixture.h"

namespace orvan::core {
namespace {

using testing::Texts;
using testing::ToolAdapterTest;

void WaitForStop(const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait(lock, stop, [] { return false; });
}

TEST_F(ToolAdapterTest, ShowsItsTextsAndWhatItAppliesTo) {
  Start([](sdk::ToolContext&) {});
  std::string text;
  EXPECT_EQ(tool->GetName(text), "recover_bad_sectors");
  EXPECT_EQ(tool->GetDescription(text), "RECOVER");
  EXPECT_EQ(tool->GetHint(text), "recover");
  EXPECT_FALSE(tool->IsApplicable(module->GetDevice(0)));
  EXPECT_TRUE(tool->IsApplicable(module->GetDevice(1)));
  EXPECT_FALSE(tool->IsApplicable(nullptr));
}

TEST_F(ToolAdapterTest, KeepsPropertiesByName) {
  Start([](sdk::ToolContext&) {});
  EXPECT_TRUE(tool->GetToolProperty("Operation").empty());
  tool->SetToolProperty("Operation", {"repair", "physical"});
  tool->SetToolProperty("Operation", {"repair"});
  EXPECT_EQ(tool->GetToolProperty("Operation"), Texts{"repair"});
}

TEST_F(ToolAdapterTest, RunsOnTheCallersThreadWithItsDevicesAndCallsTheHandlers) {
  std::thread::id thread;
  Texts ids;
  Start([&](sdk::ToolContext& context) {
    thread = std::this_thread::get_id();
    for (const sdk::Device* device : context.Devices()) {
      ids.push_back(device->Id());
    }
    EXPECT_EQ(context.GetProperty("Operation"), Texts{"repair"});
    context.SetProperty("DeviceInit", {"1"});
    EXPECT_TRUE(context.HasListener());
    EXPECT_TRUE(context.Fire("OnDeviceInit"));
    EXPECT_FALSE(context.Fire("OnNothing"));
  });
  Texts seen;
  listener.SetHandler("OnDeviceInit", [&](DiagTool* called, const std::string& event) {
    EXPECT_EQ(called, tool);
    EXPECT_EQ(event, "OnDeviceInit");
    seen = called->GetToolProperty("DeviceInit");
    return true;
  });
  tool->SetToolProperty("Operation", {"repair"});
  service->RunTool(tool, &listener,
                   {module->GetDevice(1), reinterpret_cast<DiagDevice*>(8), module->GetDevice(0)});
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_EQ(ids, (Texts{"1", "0"}));
  EXPECT_EQ(seen, Texts{"1"});
}

TEST_F(ToolAdapterTest, RunsWithoutAListener) {
  bool fired = true;
  Start([&](sdk::ToolContext& context) {
    EXPECT_FALSE(context.HasListener());
    fired = context.Fire("OnDeviceInit");
  });
  service->RunTool(tool, nullptr, {});
  EXPECT_FALSE(fired);
}

TEST_F(ToolAdapterTest, AnAbortFromAnotherThreadReachesTheRunningTool) {
  std::latch running(1);
  Start([&](sdk::ToolContext& context) {
    running.count_down();
    WaitForStop(context.StopToken());
    context.SetProperty("DeviceFinish", {"0", "8"});
  });
  std::thread runner([this] { service->RunTool(tool, &listener, {}); });
  running.wait();
  service->AbortTool(tool);
  runner.join();
  EXPECT_EQ(tool->GetToolProperty("DeviceFinish"), (Texts{"0", "8"}));
}

TEST_F(ToolAdapterTest, AnAbortThatComesFirstCountsForTheNextListenedRunOnly) {
  std::vector<bool> stopped;
  Start(
      [&](sdk::ToolContext& context) { stopped.push_back(context.StopToken().stop_requested()); });
  service->AbortTool(tool);
  service->RunTool(tool, nullptr, {});
  service->RunTool(tool, &listener, {});
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(stopped, (std::vector<bool>{false, true, false}));
}

TEST_F(ToolAdapterTest, AnAbortThatComesFirstIsTakenBackWithTheForcedAbort) {
  std::vector<bool> stopped;
  Start(
      [&](sdk::ToolContext& context) { stopped.push_back(context.StopToken().stop_requested()); });
  tool->SetToolProperty("ForcedAbort", {"Forced to abort"});
  service->AbortTool(tool);
  tool->SetToolProperty("ForcedAbort", {});
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(stopped, std::vector<bool>{false});
}

TEST_F(ToolAdapterTest, ARequestToEndTheProgramStopsTheRunningToolToo) {
  std::latch running(1);
  sdk::StopReason why = sdk::StopReason::kNone;
  Start([&](sdk::ToolContext& context) {
    EXPECT_EQ(context.WhyStop(), sdk::StopReason::kNone);
    running.count_down();
    WaitForStop(context.StopToken());
    why = context.WhyStop();
  });
  std::thread runner([this] { service->RunTool(tool, &listener, {}); });
  running.wait();
  service->AbortExecution(15, 0, 0);
  runner.join();
  EXPECT_EQ(why, sdk::StopReason::kTermination);
}

TEST_F(ToolAdapterTest, AToolIsToldWhetherItsAbortIsForced) {
  std::vector<sdk::StopReason> why;
  Start([&](sdk::ToolContext& context) { why.push_back(context.WhyStop()); });
  service->AbortTool(tool);
  service->RunTool(tool, &listener, {});
  service->RunTool(tool, &listener, {});
  tool->SetToolProperty("ForcedAbort", {"Forced to abort"});
  service->AbortTool(tool);
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(why, (std::vector<sdk::StopReason>{sdk::StopReason::kAborted, sdk::StopReason::kNone,
                                               sdk::StopReason::kForced}));
}

TEST_F(ToolAdapterTest, AToolIsToldOfSystemEvents) {
  std::uint32_t events = 0;
  Start([&](sdk::ToolContext& context) { events = context.SystemEvents(); });
  service->NotifySystemEvent(8);
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(events, 8U);
}

// What a writing tool's listener is told, one text for each event.
class WritingToolTest : public ToolAdapterTest {
 protected:
  void StartWriting(std::function<void(sdk::ToolContext&)> reportCanceled = {}) {
    mayWrite = true;
    canceled = std::move(reportCanceled);
    Start([this](sdk::ToolContext&) { ++begun; });
    tool->SetToolProperty("Operation", {"repair"});
    const auto note = [this](const char* event, const char* property) {
      listener.SetHandler(event, [this, property](DiagTool* called, const std::string& name) {
        std::string text = name;
        for (const std::string& value : called->GetToolProperty(property)) {
          text += ' ' + value;
        }
        told.push_back(text);
        return true;
      });
    };
    note("OnRecoverInit", "");
    note("OnOperationInit", "OperationInit");
    note("OnDeviceInit", "DeviceInit");
    note("OnDeviceFinish", "DeviceFinish");
    note("OnOperationFinish", "");
    note("OnRecoverFinish", "");
  }
  void Run() { service->RunTool(tool, &listener, {module->GetDevice(0), module->GetDevice(1)}); }

  int begun = 0;
  Texts told;
  const Texts kCanceled{"OnRecoverInit",      "OnOperationInit repair", "OnDeviceInit 0",
                        "OnDeviceFinish 0 8", "OnDeviceInit 1",         "OnDeviceFinish 1 8",
                        "OnOperationFinish",  "OnRecoverFinish"};
};

TEST_F(WritingToolTest, BeginsWhileNoEndWasAskedFor) {
  StartWriting();
  service->AbortTool(tool);
  tool->SetToolProperty("ForcedAbort", {});
  Run();
  EXPECT_EQ(begun, 1);
  EXPECT_EQ(told, Texts{});
}

TEST_F(WritingToolTest, AForcedAbortHoldsAlsoOnceThePropertyIsCleared) {
  StartWriting();
  tool->SetToolProperty("ForcedAbort", {"Forced to abort"});
  service->AbortTool(tool);
  tool->SetToolProperty("ForcedAbort", {});
  tool->SetToolProperty("SectorsInfo", {"9", "9", "9", "9"});
  tool->SetToolProperty("BadSectorsList", {"9"});
  tool->SetToolProperty("Message", {"of an earlier run"});
  Run();
  EXPECT_EQ(begun, 0);
  EXPECT_EQ(told, kCanceled);
  EXPECT_EQ(tool->GetToolProperty("SectorsInfo"), (Texts{"0", "0", "0", "0"}));
  EXPECT_EQ(tool->GetToolProperty("BadSectorsList"), Texts{});
  EXPECT_EQ(tool->GetToolProperty("Message"), Texts{});
  told.clear();
  Run();
  EXPECT_EQ(begun, 0);
  EXPECT_EQ(told, kCanceled);
}

TEST_F(WritingToolTest, ATerminationRequestHolds) {
  StartWriting();
  service->AbortExecution(2, 0, 0);
  Run();
  EXPECT_EQ(begun, 0);
  EXPECT_EQ(told, kCanceled);
}

TEST_F(WritingToolTest, TellsInWordsOfItsOwnWhereItHasSome) {
  StartWriting([](sdk::ToolContext& context) {
    EXPECT_EQ(context.Devices().size(), 2U);
    context.Fire("OnRecoverFinish");
  });
  service->AbortExecution(2, 0, 0);
  Run();
  EXPECT_EQ(begun, 0);
  EXPECT_EQ(told, Texts{"OnRecoverFinish"});
}

TEST_F(WritingToolTest, RunsWithoutAListenerGoOnForTheyOnlyLook) {
  StartWriting();
  service->AbortExecution(2, 0, 0);
  service->RunTool(tool, nullptr, {});
  EXPECT_EQ(begun, 1);
}

TEST_F(ToolAdapterTest, AToolThatOnlyReadsRunsAfterATerminationRequest) {
  int runs = 0;
  Start([&runs](sdk::ToolContext&) { ++runs; });
  service->AbortExecution(2, 0, 0);
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(runs, 1);
}

class FilteringRunTest : public ToolAdapterTest {
 protected:
  // A tool that withdraws device 0 in each run, and notes the devices that it gets.
  void StartFiltering() {
    Start([this](sdk::ToolContext& context) {
      seen.clear();
      for (const auto* devices : {&context.Devices(), &context.Candidates()}) {
        for (const sdk::Device* device : *devices) {
          seen.push_back(device->Id());
          if (device->Id() == "0") context.Withdraw(*device);
        }
      }
    });
  }

  Texts seen;
};

TEST_F(FilteringRunTest, GetsTheModulesDevicesAndTakesSomeOutUntilTheNextScan) {
  StartFiltering();
  DiagDevice* const first = module->GetDevice(0);
  tool->SetToolProperty("Operation", {"filterDevices", "physical"});
  service->RunTool(tool, nullptr, {});
  EXPECT_EQ(seen, (Texts{"0", "1"}));
  EXPECT_EQ(module->DeviceCount(), 2U);
  EXPECT_EQ(module->GetDevice(0), nullptr);
  EXPECT_NE(module->GetDevice(1), nullptr);
  // Nor does a pointer from before bring it into a run.
  tool->SetToolProperty("Operation", {"repair"});
  service->RunTool(tool, &listener, {first, module->GetDevice(1)});
  EXPECT_EQ(seen, Texts{"1"});
  module->ScanDevices();
  EXPECT_NE(module->GetDevice(0), nullptr);
}

TEST_F(FilteringRunTest, ASecondOneLooksAtAllDevicesAgain) {
  StartFiltering();
  tool->SetToolProperty("Operation", {"filterDevices"});
  service->RunTool(tool, nullptr, {});
  service->RunTool(tool, nullptr, {});
  EXPECT_EQ(seen, (Texts{"0", "1"}));
  EXPECT_EQ(module->GetDevice(0), nullptr);
}

TEST_F(FilteringRunTest, OtherRunsWithdrawNothing) {
  StartFiltering();
  const auto stays = [this](const Texts& operation, orvan_service::ToolListenerView* view) {
    tool->SetToolProperty("Operation", operation);
    service->RunTool(tool, view, {module->GetDevice(0)});
    EXPECT_EQ(seen, Texts{"0"});
    return module->GetDevice(0) != nullptr;
  };
  EXPECT_TRUE(stays({"filterDevices"}, &listener));
  EXPECT_TRUE(stays({"physical", "filterDevices"}, nullptr));
  EXPECT_TRUE(stays({}, nullptr));
}

TEST_F(ToolAdapterTest, AnUnknownToolIsRefused) {
  bool ran = false;
  Start([&](sdk::ToolContext&) { ran = true; });
  service->RunTool(reinterpret_cast<DiagTool*>(8), &listener, {});
  service->RunTool(nullptr, &listener, {});
  service->AbortTool(nullptr);
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace orvan::core
