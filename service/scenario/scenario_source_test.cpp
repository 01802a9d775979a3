#include "service/scenario/scenario_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <latch>
#include <thread>

#include "tests/support/service_test_support.h"

namespace orvan::scenario {
namespace {

using core::testing::FileText;
using Calls = std::vector<std::string>;

constexpr char kMachine[] = R"({
  "trace": "trace.jsonl",
  "modules": [ { "name": "Storage",
    "diagnostics": [ { "name": "QUICK", "option": "Q", "longName": "quick",
      "key": { "minor": 1, "identifier": 1 },
      "tests": [
        { "name": "READ", "option": "r", "longName": "read", "key": { "identifier": 100 },
          "appliesTo": ["0"],
          "parameters": [ { "name": "blocks", "label": "BLOCKS", "initialValue": "64", "type": 2,
                            "range": [1, 1024] } ],
          "outcome": { "status": 5, "reports": [ { "percent": 10, "message": "A" },
                                                 { "atMs": 1, "percent": 90 } ] },
          "outcomes": { "1": { "status": 1 } } },
        { "name": "LONG", "option": "l", "longName": "long", "key": { "identifier": 101 },
          "outcome": { "durationMs": 600000, "reports": [ { "percent": 1 } ] },
          "outcomes": { "1": { "durationMs": 20 } } },
        { "name": "LAST", "option": "z", "longName": "last", "key": { "identifier": 102 } } ] } ],
    "devices": [ { "id": "0" }, { "id": "1", "result": "OWN" } ],
    "tools": [ { "name": "recover", "hint": "recover", "appliesTo": ["0"],
      "run": [ { "set": { "DeviceInit": ["0"] }, "event": "OnDeviceInit" },
               { "afterMs": 600000, "event": "OnNever" } ],
      "abort": [ { "afterMs": 1, "set": { "DeviceFinish": ["0", "8"] }, "event": "OnDeviceFinish" },
                 {} ] },
      { "name": "short", "run": [ { "event": "OnDone" } ] } ] } ]
})";

class Listener final : public orvan_service::ToolListenerView {
 public:
  void ClearReply(orvan_service::ToolReply* record) override { record->reply = 0; }
  void RegisterHandlers() override {}
};

class ScenarioSourceTest : public ::testing::Test {
 protected:
  void Start(const std::string& text = kMachine) {
    const std::string path = folder.Write("scenario.json", text);
    std::string fault;
    std::unique_ptr<core::ModuleSource> source = MakeScenarioSource(path, fault);
    ASSERT_NE(source, nullptr) << fault;
    service = std::make_unique<core::Service>(std::move(source), core::ServiceOptions{});
    service->SetSuiteListener(&suite);
    service->SetTestListener(&test);
    if (service->LoadModules(0) != nullptr && !service->LoadModules(0)->empty()) {
      module = service->LoadModules(0)->front();
      module->ScanDevices();
    }
  }
  // The plan of the test at that place alone.
  std::vector<DiagnosticRunItem> PlanOf(std::size_t place) {
    std::vector<DiagnosticRunItem> plan = core::testing::WholePlan(*module);
    plan[0].tests = {plan[0].tests.at(place)};
    return plan;
  }
  std::string Trace() { return FileText(folder.Path("trace.jsonl")); }
  // The lines behind those that were there before.
  std::string NewTrace() {
    const std::string all = Trace();
    const std::string fresh = all.substr(seen);
    seen = all.size();
    return fresh;
  }

  core::testing::TemporaryFolder folder;
  core::testing::CallList list;
  core::testing::RecordingSuite suite{list};
  core::testing::RecordingTest test{list};
  std::unique_ptr<core::Service> service;
  DiagModule* module = nullptr;
  std::size_t seen = 0;
};

TEST_F(ScenarioSourceTest, PlaysReportsAndStatus) {
  Start();
  service->ExecuteDiagnostics(module, module->GetDevice(0), PlanOf(0));
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "diagnostic QUICK", "test READ",
                               "report READ 10 A", "report READ 90 ", "test end READ 5",
                               "diagnostic end", "device end 0 SCENARIO-0", "suite end"}));
}

TEST_F(ScenarioSourceTest, TheOutcomeOfADeviceWins) {
  Start();
  service->ExecuteDiagnostics(module, module->GetDevice(1), PlanOf(0));
  EXPECT_EQ(list.calls,
            (Calls{"suite", "device", "diagnostic QUICK", "test READ", "test end READ 1",
                   "diagnostic end", "device end 1 OWN", "suite end"}));
}

TEST_F(ScenarioSourceTest, ThePseudoDeviceTakesTheCommonOutcome) {
  Start();
  service->ExecuteDiagnostics(module, nullptr, PlanOf(0));
  EXPECT_EQ(list.calls.at(6), "test end READ 5");
  EXPECT_EQ(list.calls.at(8), "device end null SCENARIO");
}

TEST_F(ScenarioSourceTest, ATestTakesItsDuration) {
  Start();
  const auto start = std::chrono::steady_clock::now();
  service->ExecuteDiagnostics(module, module->GetDevice(1), PlanOf(1));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
  EXPECT_EQ(list.calls.at(4), "test end LONG 0");
}

TEST_F(ScenarioSourceTest, AnAbortEndsTheTestAtOnceAndCancelsTheRest) {
  Start();
  std::latch running(1);
  suite.onTestStart = [&](const std::string& name) {
    if (name == "LONG") running.count_down();
  };
  std::thread runner([this] {
    service->ExecuteDiagnostics(module, module->GetDevice(0), core::testing::WholePlan(*module));
  });
  running.wait();
  const auto start = std::chrono::steady_clock::now();
  service->AbortExecution(0, 0, 0);
  runner.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(Calls(list.calls.end() - 6, list.calls.end()),
            (Calls{"test end LONG 4", "test LAST", "test end LAST 4", "diagnostic end",
                   "device end 0 SCENARIO-0", "suite end"}));
}

TEST_F(ScenarioSourceTest, AScanTakesItsTime) {
  const auto start = std::chrono::steady_clock::now();
  Start(R"({"modules":[{"name":"M","scanMs":20,"devices":[{"id":"0"}]}]})");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
  EXPECT_EQ(module->DeviceCount(), 1U);
}

TEST_F(ScenarioSourceTest, AnAbortedToolLeavesItsRunAndPlaysItsAbort) {
  Start();
  DiagTool* tool = module->Tools()->front();
  Listener listener;
  std::latch running(1);
  Calls events;
  listener.SetHandler("OnDeviceInit", [&](DiagTool* called, const std::string& event) {
    events.push_back(event + called->GetToolProperty("DeviceInit").at(0));
    running.count_down();
    return true;
  });
  listener.SetHandler("OnNever", [&](DiagTool*, const std::string& event) {
    events.push_back(event);
    return true;
  });
  listener.SetHandler("OnDeviceFinish", [&](DiagTool* called, const std::string& event) {
    events.push_back(event + called->GetToolProperty("DeviceFinish").at(1));
    return true;
  });
  std::thread runner([&] { service->RunTool(tool, &listener, {module->GetDevice(0)}); });
  running.wait();
  service->AbortTool(tool);
  runner.join();
  EXPECT_EQ(events, (Calls{"OnDeviceInit0", "OnDeviceFinish8"}));
}

TEST_F(ScenarioSourceTest, AToolWithoutAListenerReturnsAtOnce) {
  Start();
  DiagTool* tool = module->Tools()->front();
  service->RunTool(tool, nullptr, {module->GetDevice(0)});
  EXPECT_TRUE(tool->GetToolProperty("DeviceInit").empty());
  EXPECT_TRUE(tool->IsApplicable(module->GetDevice(0)));
  EXPECT_FALSE(tool->IsApplicable(module->GetDevice(1)));
}

TEST_F(ScenarioSourceTest, ThrowsNothingWithoutTheKeys) {
  Start();
  OrvanSettings settings;
  settings.SetString(kSettingCacheDir, "/no/such/folder");
  EXPECT_NO_THROW(service->ApplySettings(settings));
  CallerInfo caller;
  caller.appKey = "bad key";
  EXPECT_NO_THROW(service->BeginFinalResult(1, caller));
  std::string text;
  service->GetFinalResultCode(text, kFinalResultCodeSize);
  EXPECT_EQ(text, "SCENARIO");
}

TEST_F(ScenarioSourceTest, ThrowsEveryTimeWhatTheKeysSay) {
  Start(R"({"service":{"applySettings":"FailedToVisitLocalCache",
            "beginFinalResult":"InvalidAppKey","finalResultCode":"TEXT"}})");
  for (int i = 0; i < 2; ++i) {
    EXPECT_THROW(service->ApplySettings(OrvanSettings()), FailedToVisitLocalCache);
    EXPECT_THROW(service->BeginFinalResult(1, {}), InvalidAppKey);
  }
  std::string text;
  service->GetFinalResultCode(text, kFinalResultCodeSize);
  EXPECT_EQ(text, "TEXT");
  service->GetFinalResultCode(text, 2);
  EXPECT_EQ(text, "TE");
}

TEST_F(ScenarioSourceTest, LoadModulesIsNullWhenTheKeySaysSo) {
  Start(R"({"service":{"loadModules":"null"},"modules":[{"name":"M"}]})");
  EXPECT_EQ(service->LoadModules(0), nullptr);
}

TEST_F(ScenarioSourceTest, TracesEachCallInItsOrder) {
  folder.Write("trace.jsonl", "{\"call\":\"what an earlier service left\n");
  Start();
  EXPECT_EQ(NewTrace(), "{\"call\":\"ScanDevices\",\"module\":\"Storage\"}\n");
  OrvanSettings settings;
  settings.SetString(kSettingAppName, "A \"quoted\" name");
  settings.SetBool(kSettingDataCollection, false);
  settings.SetBool(kSettingLogPathChanged, true);
  service->ApplySettings(settings);
  service->SetLogPath("C\\logs");
  service->EnableSupervisedRun();
  service->SetNoDevicesMode(true);
  service->NotifySystemEvent(32);
  service->ClearSystemEvents();
  service->BeginFinalResult(1732176000, {"N", "V", "K", "C"});
  std::string text;
  service->GetFinalResultCode(text, kFinalResultCodeSize);
  EXPECT_EQ(NewTrace(), R"({"call":"ApplySettings","texts":{"AppName":"A \"quoted\" name"},)"
                        R"("truths":{"CLILogPathChanged":true,"EnableDataCollection":false}})"
                        "\n"
                        R"({"call":"SetLogPath","path":"C\\logs"})"
                        "\n"
                        R"({"call":"EnableSupervisedRun"})"
                        "\n"
                        R"({"call":"SetNoDevicesMode","flag":true})"
                        "\n"
                        R"({"call":"NotifySystemEvent","bit":32})"
                        "\n"
                        R"({"call":"ClearSystemEvents"})"
                        "\n"
                        R"({"call":"BeginFinalResult","groupId":1732176000,"caller":)"
                        R"({"appName":"N","appVersion":"V","appKey":"K","cacheDir":"C"}})"
                        "\n"
                        R"({"call":"GetFinalResultCode"})"
                        "\n");
}

TEST_F(ScenarioSourceTest, TracesThePlanAsTheCallerGaveIt) {
  Start();
  NewTrace();
  std::vector<DiagnosticRunItem> plan = PlanOf(0);
  std::vector<TestParameter> given;
  plan[0].tests[0].test->GetParameters(given, module->GetDevice(0));
  given[0].value = "5000";
  plan[0].tests[0].parameters = given;
  plan[0].tests[0].rawParameters = {"blocks=5000"};
  plan.push_back({nullptr, {}});
  service->ExecuteDiagnostics(module, module->GetDevice(0), plan);
  service->ExecuteDiagnostics(module, nullptr, {});
  EXPECT_EQ(NewTrace(),
            R"({"call":"ExecuteDiagnostics","module":"Storage","device":"0","plan":[)"
            R"({"diagnostic":"QUICK","tests":[{"test":"READ","raw":["blocks=5000"],"parameters":[)"
            R"({"name":"blocks","label":"BLOCKS","detail":"","initialValue":"64","value":"5000",)"
            R"("type":2,"extra":""}]}]},{"diagnostic":null,"tests":[]}]})"
            "\n"
            R"({"call":"ExecuteDiagnostics","module":"Storage","device":null,"plan":[]})"
            "\n");
  EXPECT_EQ(list.calls.at(6), "test end READ 5");
}

TEST_F(ScenarioSourceTest, TracesToolsAbortsAndTheEnd) {
  Start();
  NewTrace();
  DiagTool* tool = module->Tools()->at(1);
  Listener listener;
  tool->SetToolProperty("Operation", {"repair", "physical"});
  service->RunTool(tool, nullptr, {});
  service->RunTool(tool, &listener, {module->GetDevice(1), module->GetDevice(0)});
  service->AbortTool(tool);
  service->AbortExecution(0, 0, 0);
  service->Close();
  service->AbortExecution(0, 0, 0);
  EXPECT_EQ(NewTrace(), R"({"call":"SetToolProperty","tool":"short","key":"Operation",)"
                        R"("values":["repair","physical"]})"
                        "\n"
                        R"({"call":"RunTool","tool":"short","listener":false,"devices":[]})"
                        "\n"
                        R"({"call":"RunTool","tool":"short","listener":true,"devices":["1","0"]})"
                        "\n"
                        R"({"call":"AbortTool","tool":"short"})"
                        "\n"
                        R"({"call":"AbortExecution"})"
                        "\n"
                        R"({"call":"Release"})"
                        "\n");
}

TEST_F(ScenarioSourceTest, ATracedToolsOwnPropertiesAreNoCalls) {
  Start();
  NewTrace();
  DiagTool* tool = module->Tools()->front();
  Listener listener;
  service->AbortTool(tool);
  service->RunTool(tool, &listener, {});
  EXPECT_EQ(tool->GetToolProperty("DeviceFinish"), (Calls{"0", "8"}));
  EXPECT_EQ(NewTrace(),
            "{\"call\":\"AbortTool\",\"tool\":\"recover\"}\n"
            "{\"call\":\"RunTool\",\"tool\":\"recover\",\"listener\":true,\"devices\":[]}\n");
}

TEST_F(ScenarioSourceTest, TraceLinesOfManyThreadsStayWhole) {
  Start();
  NewTrace();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int round = 0; round < 50; ++round) {
        service->AbortExecution(2, 0, 0);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    expected += "{\"call\":\"AbortExecution\"}\n";
  }
  EXPECT_EQ(NewTrace(), expected);
}

TEST_F(ScenarioSourceTest, AFaultNamesFileAndPlace) {
  std::string fault;
  const std::string path = folder.Write("bad.json", R"({"modules":[{"nam":"x"}]})");
  EXPECT_EQ(MakeScenarioSource(path, fault), nullptr);
  EXPECT_EQ(fault, path + ": modules[0].name: is missing");
  EXPECT_EQ(MakeScenarioSource(folder.Path("a\x1B\n.json"), fault), nullptr);
  EXPECT_EQ(fault, folder.Path("a\\u001B\\u000A.json") + ": the file: cannot be read");
  EXPECT_EQ(MakeScenarioSource(folder.Path("none.json"), fault), nullptr);
  EXPECT_EQ(fault, folder.Path("none.json") + ": the file: cannot be read");
  const std::string traced = folder.Write("traced.json", R"({"trace":"no/such/folder"})");
  EXPECT_EQ(MakeScenarioSource(traced, fault), nullptr);
  EXPECT_EQ(fault, traced + ": trace: cannot be written");
}

TEST(MakeEmptySource, LoadsNothingAndRefusesNothing) {
  core::Service service(MakeEmptySource(), {});
  EXPECT_EQ(service.LoadModules(0), nullptr);
  EXPECT_NO_THROW(service.ApplySettings(OrvanSettings()));
  EXPECT_NO_THROW(service.BeginFinalResult(1, {}));
}

}  // namespace
}  // namespace orvan::scenario
