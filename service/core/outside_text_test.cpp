#include "service/core/outside_text.h"

#include "tests/support/executor_fixture.h"
#include "tests/support/steering_texts.h"

namespace orvan::core {
namespace {

using tarvex::testing::SteeringCharacters;
using tarvex::testing::SteeringIn;

// What a stranger says: every character that steers, and one of each layout.
const std::string kHostile = "\x1b[2J" + tarvex::testing::SteeringText() + "\nINJECTED:::1";

class HostileDevice final : public sdk::Device {
 public:
  explicit HostileDevice(std::string id) : id_(std::move(id)) {}
  std::string Id() const override { return id_; }
  DeviceInformation Information() const override {
    return {kHostile, kHostile, {{kHostile, kHostile}}, {{"NonRotatingMedia", kHostile}}};
  }
  std::vector<DiagResource> Resources(std::stop_token) const override {
    return {{kHostile, {{kHostile, kHostile}}}};
  }
  std::string UniqueId() const override { return kHostile; }
  std::optional<std::string> ResultText() const override { return kHostile; }

 private:
  std::string id_;
};

// Takes every text that a listener is told.
struct Heard final : orvan_service::SuiteListenerView, orvan_service::TestListenerView {
  void OnDeviceEnd(DiagModule* /*module*/, DiagDevice* /*device*/, std::string text) override {
    texts.push_back(std::move(text));
  }
  void OnTestReport(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/, DiagTest* /*test*/,
                    std::int32_t /*percent*/, std::string message) override {
    texts.push_back(std::move(message));
  }

  std::vector<std::string> texts;
};

// A service with a module that is hostile in every text.
class HostileModuleTest : public testing::ExecutorTest {
 protected:
  HostileModuleTest() {
    plain->name = kHostile;
    plain->help = [] { return kHostile; };
    sdk::ParameterSpec spec{kHostile, kHostile, kHostile, kHostile, kParameterText, kHostile};
    sdk::TestRecord row = testing::MakeTest(kHostile, 1, [](sdk::TestContext& context) {
      context.Report(1, kHostile);
      return sdk::Verdict::Failed(kHostile, kHostile, kHostile, kHostile);
    });
    row.parameters = {spec};
    plain->diagnostics = {testing::MakeDiagnostic(kHostile, 1, {row})};
    plain->diagnostics.front().option = plain->diagnostics.front().tests.front().option = kHostile;
    sdk::ToolRecord tool{kHostile, kHostile, kHostile, {}, [](sdk::ToolContext& context) {
                           context.SetProperty("Message", {kHostile, kHostile});
                           kept = context.GetProperty("Message");
                         }};
    plain->tools = {tool};
    plain->scan = [](std::stop_token) {
      std::vector<std::unique_ptr<sdk::Device>> devices;
      devices.push_back(std::make_unique<HostileDevice>(kHostile));
      return devices;
    };
    logFolder = folder.Path("log");
    Start();
  }
  // Each text that the boundary gives out, but ids and the help.
  std::vector<std::string> GivenOut() {
    std::vector<std::string> texts;
    std::string text;
    const auto add = [&](const std::string& more) { texts.push_back(more); };
    add(module->GetDisplayName(text));
    for (DiagCatalogue* catalogue : {module->Catalogue(), module->TestCatalogue()}) {
      add(catalogue->begin()->second->Option(text));
      add(catalogue->begin()->second->LongName(text));
    }
    DiagDiagnostic* diagnostic = module->GetDiagnostics()->front();
    DiagTest* first = diagnostic->Tests()->front();
    add(diagnostic->Name(text));
    add(first->Name(text));
    std::vector<TestParameter> parameters;
    first->DefaultParameters(parameters);
    std::vector<TestParameter> onDevice;
    first->GetParameters(onDevice, module->GetDevice(0));
    parameters.insert(parameters.end(), onDevice.begin(), onDevice.end());
    for (const TestParameter& one : parameters) {
      for (const std::string& part :
           {one.name, one.label, one.detail, one.initialValue, one.value, one.extra}) {
        add(part);
      }
    }
    DeviceInformation information;
    module->GetDevice(0)->GetInformation(information);
    add(information.name);
    add(information.reserved);
    add(information.entries.at(0).first);
    add(information.entries.at(0).second);
    add(information.properties.at("NonRotatingMedia"));
    std::vector<DiagResource> resources;
    module->GetDevice(0)->GetResources(resources);
    add(resources.at(0).type);
    add(resources.at(0).pairs.at(0).first);
    add(resources.at(0).pairs.at(0).second);
    DiagTool* tool = module->Tools()->front();
    add(tool->GetName(text));
    add(tool->GetDescription(text));
    add(tool->GetHint(text));
    service->RunTool(tool, nullptr, {});
    for (const std::string& value : tool->GetToolProperty("Message")) add(value);
    return texts;
  }

  static inline std::vector<std::string> kept;
  testing::TemporaryFolder folder;
};

TEST_F(HostileModuleTest, NoTextCrossesTheBoundaryWithLayout) {
  const std::vector<std::string> texts = GivenOut();
  EXPECT_EQ(texts.size(), 32U);
  for (const std::string& text : texts) {
    EXPECT_EQ(text, InLine(kHostile));
    EXPECT_EQ(text.find_first_of("\b\t\n\r"), std::string::npos);
  }
  // The tool itself finds its property as it set it.
  EXPECT_EQ(kept, (std::vector<std::string>{kHostile, kHostile}));
}

TEST_F(HostileModuleTest, AHelpTextKeepsItsLinesAndTabs) {
  std::string text;
  EXPECT_EQ(module->GetHelpText(text), InLine(kHostile, "\t\n"));
  EXPECT_NE(text.find('\n'), std::string::npos);
  EXPECT_EQ(text.find_first_of("\b\r"), std::string::npos);
}

TEST_F(HostileModuleTest, AnIdIsWhatEveryScreenShows) {
  std::string id;
  EXPECT_EQ(module->GetDevice(0)->GetId(id), tarvex::WithoutSteering(kHostile));
  EXPECT_EQ(SteeringIn(id, ""), L"");
}

TEST_F(HostileModuleTest, WhatARunTellsHasNoLayout) {
  Heard heard;
  service->SetSuiteListener(&heard);
  service->SetTestListener(&heard);
  Run();
  EXPECT_EQ(heard.texts, (std::vector<std::string>(3, InLine(kHostile))));
}

TEST_F(HostileModuleTest, TheLogHoldsNothingThatSteers) {
  service->SetTestListener(nullptr);
  Run();
  service.reset();
  const std::vector<std::string> lines = testing::LogLines(folder.Path("log"));
  EXPECT_GT(lines.size(), 5U);
  for (const std::string& line : lines) {
    EXPECT_EQ(SteeringIn(line, ""), L"") << line;
    EXPECT_EQ(line.find("\\u00"), std::string::npos) << line;
    EXPECT_EQ(line.find("\\n"), std::string::npos) << line;
  }
}

TEST_F(HostileModuleTest, ExecutionRecordsHoldNothingThatSteers) {
  OrvanSettings settings;
  settings.SetBool(kSettingExecutionTracker, true);
  service->ApplySettings(settings);
  Run();
  ASSERT_EQ(records.size(), 1U);
  for (const std::string& text : {records[0].moduleName, records[0].testName, records[0].deviceUdi,
                                  records[0].deviceDisplayName}) {
    EXPECT_NE(text, "");
    EXPECT_EQ(SteeringIn(text, ""), L"");
  }
}

}  // namespace
}  // namespace orvan::core
