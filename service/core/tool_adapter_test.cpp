#include "service/core/tool_adapter.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "service/core/test_support.h"

namespace orvan::core {
namespace {

using Texts = std::vector<std::string>;

class Listener final : public orvan_service::ToolListenerView {
 public:
  void ClearReply(orvan_service::ToolReply* record) override { record->reply = 0; }
  void RegisterHandlers() override {}
};

void WaitForStop(const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait(lock, stop, [] { return false; });
}

class ToolAdapterTest : public ::testing::Test {
 protected:
  void Start(std::function<void(sdk::ToolContext&)> run) {
    sdk::ToolRecord record;
    record.name = "recover_bad_sectors";
    record.description = "RECOVER";
    record.hint = "recover";
    record.appliesTo = [](const sdk::Device& device) { return device.Id() == "1"; };
    record.run = std::move(run);
    auto plain = std::make_unique<testing::PlainModule>();
    plain->tools = {record};
    auto source = std::make_unique<testing::PlainSource>();
    source->modules.push_back(testing::Own(std::move(plain)));
    service = std::make_unique<Service>(std::move(source), ServiceOptions{});
    module = service->LoadModules(0)->front();
    module->ScanDevices();
    tool = module->Tools()->front();
  }

  std::unique_ptr<Service> service;
  DiagModule* module = nullptr;
  DiagTool* tool = nullptr;
  Listener listener;
};

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

TEST_F(ToolAdapterTest, AToolThatThrowsEndsItsRunOnly) {
  int runs = 0;
  Start([&](sdk::ToolContext&) {
    ++runs;
    throw std::runtime_error("lost");
  });
  service->RunTool(tool, &listener, {});
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(runs, 2);
}

TEST_F(ToolAdapterTest, AListenerThatIsToldTooLittleEndsTheRunOnly) {
  std::vector<std::string> steps;
  listener.SetHandler("OnShort", [](DiagTool* called, const std::string&) {
    return called->GetToolProperty("Nothing").at(0).empty();
  });
  Start([&](sdk::ToolContext& context) {
    steps.emplace_back("begin");
    context.Fire("OnShort");
    steps.emplace_back("behind the error");
  });
  service->RunTool(tool, &listener, {});
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(steps, (std::vector<std::string>{"begin", "begin"}));
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
