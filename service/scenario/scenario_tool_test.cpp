#include <gtest/gtest.h>

#include "service/scenario/scenario_source.h"
#include "tests/support/service_test_support.h"

namespace orvan::scenario {
namespace {

using Texts = std::vector<std::string>;

class Listener final : public orvan_service::ToolListenerView {
 public:
  void ClearReply(orvan_service::ToolReply* record) override { record->reply = 0; }
  void RegisterHandlers() override {}
};

// The tools of a module with the devices 0, 1 and 2, each with `run` and `abort`.
class ScenarioToolTest : public ::testing::Test {
 protected:
  // `members` are the tool's own, e.g. "\"name\":\"some\"".
  void Start(const std::string& members) {
    const std::string text =
        R"({"modules":[{"name":"M","devices":[{"id":"0"},{"id":"1"},{"id":"2"}],"tools":[{)" +
        members + R"(,"run":[{"event":"OnRun"}],"abort":[{"event":"OnAbort"}]}]}]})";
    std::string fault;
    auto source = MakeScenarioSource(folder.Write("scenario.json", text), fault);
    ASSERT_NE(source, nullptr) << fault;
    service = std::make_unique<core::Service>(std::move(source), core::ServiceOptions{});
    module = service->LoadModules(0)->front();
    module->ScanDevices();
    tool = module->Tools()->front();
    for (const char* event : {"OnRun", "OnAbort"}) {
      listener.SetHandler(event, [this](DiagTool*, const std::string& name) {
        played.push_back(name);
        return true;
      });
    }
  }
  // What a run with a listener plays after a termination request.
  Texts AfterTheEnd() {
    tool->SetToolProperty("ForcedAbort", {"x"});
    tool->SetToolProperty("ForcedAbort", {});
    played.clear();
    service->RunTool(tool, &listener, {module->GetDevice(0)});
    return played;
  }
  // The indices of the devices that the module gives.
  std::vector<std::uint32_t> Given() const {
    std::vector<std::uint32_t> given;
    for (std::uint32_t index = 0; index < module->DeviceCount(); ++index) {
      if (module->GetDevice(index) != nullptr) given.push_back(index);
    }
    return given;
  }

  core::testing::TemporaryFolder folder;
  std::unique_ptr<core::Service> service;
  DiagModule* module = nullptr;
  DiagTool* tool = nullptr;
  Listener listener;
  Texts played;
};

TEST_F(ScenarioToolTest, AToolThatWritesPlaysItsAbortAloneOnceTheEndWasAskedFor) {
  Start(R"("name":"some","writes":true)");
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(played, Texts{"OnRun"});
  EXPECT_EQ(AfterTheEnd(), Texts{"OnAbort"});
}

TEST_F(ScenarioToolTest, AToolThatDoesNotWritePlaysItsRunAllTheSame) {
  Start(R"("name":"some")");
  EXPECT_EQ(AfterTheEnd(), Texts{"OnRun"});
}

TEST_F(ScenarioToolTest, WhatTheFileSaysCountsAboveTheName) {
  Start(R"("name":"recover_bad_sectors","writes":false)");
  EXPECT_EQ(AfterTheEnd(), Texts{"OnRun"});
}

TEST_F(ScenarioToolTest, AnAbortOfTheRunningDiagnosticsIsATerminationRequestToo) {
  Start(R"("name":"|RECOVER_|BAD_SECTORS")");
  service->AbortExecution(0, 0, 0);
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(played, Texts{"OnAbort"});
}

TEST_F(ScenarioToolTest, AFilteringRunWithdrawsDevicesUntilTheNextScan) {
  Start(R"("name":"some","withdraws":["1","7"])");
  tool->SetToolProperty("Operation", {"filterDevices"});
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(Given(), (std::vector<std::uint32_t>{0, 1, 2}));
  service->RunTool(tool, nullptr, {});
  EXPECT_EQ(Given(), (std::vector<std::uint32_t>{0, 2}));
  EXPECT_EQ(module->DeviceCount(), 3U);
  module->ScanDevices();
  EXPECT_EQ(Given(), (std::vector<std::uint32_t>{0, 1, 2}));
}

TEST_F(ScenarioToolTest, AnotherRunWithoutAListenerWithdrawsNothing) {
  Start(R"("name":"some","withdraws":["1"])");
  tool->SetToolProperty("Operation", {"repair"});
  service->RunTool(tool, nullptr, {module->GetDevice(1)});
  EXPECT_EQ(Given(), (std::vector<std::uint32_t>{0, 1, 2}));
}

}  // namespace
}  // namespace orvan::scenario
