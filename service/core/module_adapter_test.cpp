#include "service/core/module_adapter.h"

#include <gtest/gtest.h>

#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using testing::MakeDiagnostic;
using testing::MakeTest;
using testing::Passes;
using testing::PlainDevice;
using testing::PlainModule;

class ModuleAdapterTest : public ::testing::Test {
 protected:
  ModuleAdapter& Adapt() {
    adapter = std::make_unique<ModuleAdapter>(testing::Own(std::move(module)), log, observer,
                                              requests, scanStop.get_token());
    return *adapter;
  }
  TestAdapter* FirstTest() {
    return adapter->FindTest(adapter->GetDiagnostics()->front()->Tests()->front()).test;
  }

  log::ServiceLog log{""};
  CallObserver observer;
  RunRequests requests;
  std::stop_source scanStop;
  std::unique_ptr<PlainModule> module = std::make_unique<PlainModule>();
  std::unique_ptr<ModuleAdapter> adapter;
};

TEST_F(ModuleAdapterTest, ShowsNameHelpAndVersion) {
  ModuleAdapter& shown = Adapt();
  std::string text;
  EXPECT_EQ(&shown.GetDisplayName(text), &text);
  EXPECT_EQ(text, "Plain");
  EXPECT_EQ(shown.GetHelpText(text), "help of Plain");
  EXPECT_EQ(shown.Version()->Major(), 1U);
  EXPECT_EQ(shown.Version()->Build(), 4U);
}

TEST_F(ModuleAdapterTest, CataloguesAreOrderedByIdentifierAndTheFirstOfEqualsStays) {
  module->diagnostics = {
      MakeDiagnostic("QUICK", 9,
                     {MakeTest("late", 200, Passes()), MakeTest("soon", 100, Passes())}),
      MakeDiagnostic("EXTENDED", 3, {MakeTest("again", 100, Passes())})};
  ModuleAdapter& shown = Adapt();
  std::string text;
  ASSERT_EQ(shown.Catalogue()->size(), 2U);
  EXPECT_EQ(shown.Catalogue()->begin()->second->LongName(text), "EXTENDED");
  ASSERT_EQ(shown.TestCatalogue()->size(), 2U);
  EXPECT_EQ(shown.TestCatalogue()->begin()->first.identifier, 100U);
  EXPECT_EQ(shown.TestCatalogue()->begin()->second->LongName(text), "soon");
  EXPECT_EQ(shown.TestCatalogue()->begin()->second->Option(text), "s");
  EXPECT_EQ(shown.TestCatalogue()->rbegin()->second->LongName(text), "late");
  ASSERT_EQ(shown.GetDiagnostics()->size(), 2U);
  EXPECT_EQ(shown.GetDiagnostics()->front()->Name(text), "QUICK");
  DiagKey key;
  EXPECT_EQ(shown.GetDiagnostics()->front()->Key(key).identifier, 9U);
}

TEST_F(ModuleAdapterTest, DevicesOfAnEarlierScanStayAlive) {
  ModuleAdapter& shown = Adapt();
  EXPECT_EQ(shown.DeviceCount(), 0U);
  shown.ScanDevices();
  std::vector<DiagDevice*>* const vector = shown.GetDevices();
  DiagDevice* const earlier = shown.GetDevice(1);
  shown.ScanDevices();
  EXPECT_EQ(shown.GetDevices(), vector);
  EXPECT_EQ(shown.DeviceCount(), 2U);
  EXPECT_NE(shown.GetDevice(1), earlier);
  std::string id;
  EXPECT_EQ(earlier->GetId(id), "1");
  EXPECT_NE(shown.FindDevice(earlier), nullptr);
  EXPECT_EQ(shown.GetDevice(2), nullptr);
}

TEST_F(ModuleAdapterTest, AScanThatThrowsIsNotOneThatFoundNothing) {
  bool broken = false;
  module->scan = [&broken](std::stop_token) {
    if (broken) throw std::runtime_error("bus is gone");
    std::vector<std::unique_ptr<sdk::Device>> devices;
    devices.push_back(std::make_unique<PlainDevice>("7"));
    return devices;
  };
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_EQ(shown.DeviceCount(), 1U);
  testing::TemporaryFolder folder;
  log.MoveTo(folder.Path());
  broken = true;
  ::testing::internal::CaptureStderr();
  shown.ScanDevices();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "TarvexDiagnosticsCLI: the devices of module Plain could not be searched: "
            "bus is gone\n");
  ASSERT_EQ(shown.DeviceCount(), 1U);
  std::string id;
  EXPECT_EQ(shown.GetDevice(0)->GetId(id), "0");
  DeviceInformation information;
  shown.GetDevice(0)->GetInformation(information);
  EXPECT_EQ(information.name, "Plain: the devices could not be searched");
  EXPECT_EQ(information.entries,
            (std::vector<std::pair<std::string, std::string>>{{"bus is gone", "REASON"}}));
  EXPECT_TRUE(information.properties.contains("NonRotatingMedia"));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (std::vector<std::string>{
                testing::RunErrorLine("exception", "scan of module Plain ended: bus is gone"),
                testing::RunErrorLine("scan-fault",
                                      "scan of module Plain: device 0 cannot be tested: "
                                      "The devices could not be searched")}));
}

std::vector<std::string> Ids(ModuleAdapter& shown) {
  std::vector<std::string> ids(shown.DeviceCount());
  for (std::uint32_t i = 0; i < ids.size(); ++i) shown.GetDevice(i)->GetId(ids[i]);
  return ids;
}

TEST_F(ModuleAdapterTest, WhatAScanFoundBeforeItThrewStaysAndOneMoreStandsForTheRest) {
  module->afterScan = [] { throw std::runtime_error("bus is gone"); };
  ModuleAdapter& shown = Adapt();
  ::testing::internal::CaptureStderr();
  shown.ScanDevices();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "TarvexDiagnosticsCLI: further devices of module Plain could not be searched: "
            "bus is gone\n");
  EXPECT_EQ(Ids(shown), (std::vector<std::string>{"0", "1", "2"}));
  DeviceInformation information;
  EXPECT_EQ(shown.GetDevice(1)->GetInformation(information).name, "Device 1");
  EXPECT_EQ(shown.GetDevice(2)->GetInformation(information).name,
            "Plain: further devices could not be searched");
  EXPECT_FALSE(shown.FindDevice(shown.GetDevice(1))->WhyUntestable());
  EXPECT_TRUE(shown.FindDevice(shown.GetDevice(2))->WhyUntestable());
}

TEST_F(ModuleAdapterTest, WhatStandsForTheRestHasAnIdOfItsOwn) {
  module->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    for (const char* id : {"2", "4"}) devices.push_back(std::make_unique<PlainDevice>(id));
    devices.push_back(nullptr);
    devices.push_back(std::make_unique<PlainDevice>("a"));
    return devices;
  };
  module->afterScan = [] { throw std::runtime_error("bus is gone"); };
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_EQ(Ids(shown), (std::vector<std::string>{"2", "4", "a", "5"}));
}

TEST_F(ModuleAdapterTest, OfAScanThatWasToStopWhatItFoundIsAll) {
  bool findsNothing = false;
  module->scan = [&findsNothing](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    if (!findsNothing) devices.push_back(std::make_unique<PlainDevice>("7"));
    return devices;
  };
  module->afterScan = [] { throw std::runtime_error("no time"); };
  testing::TemporaryFolder folder;
  log.MoveTo(folder.Path());
  ModuleAdapter& shown = Adapt();
  scanStop.request_stop();
  ::testing::internal::CaptureStderr();
  shown.ScanDevices();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Ids(shown), (std::vector<std::string>{"7"}));
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (std::vector<std::string>{
                testing::RunErrorLine("exception", "scan of module Plain ended: no time")}));
  // Where it found nothing, nothing would be canceled.
  findsNothing = true;
  ::testing::internal::CaptureStderr();
  shown.ScanDevices();
  EXPECT_NE(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Ids(shown), (std::vector<std::string>{"0"}));
}

TEST_F(ModuleAdapterTest, LeavesOutNoDeviceAndKeepsEqualIdsAndTellsBothToTheLog) {
  module->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    devices.push_back(std::make_unique<PlainDevice>("7"));
    devices.push_back(nullptr);
    devices.push_back(std::make_unique<PlainDevice>("7"));
    devices.push_back(std::make_unique<PlainDevice>("8"));
    return devices;
  };
  testing::TemporaryFolder folder;
  log.MoveTo(folder.Path());
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  ASSERT_EQ(shown.DeviceCount(), 3U);
  std::string id;
  EXPECT_EQ(shown.GetDevice(1)->GetId(id), "7");
  EXPECT_EQ(shown.GetDevice(2)->GetId(id), "8");
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            (std::vector<std::string>{
                testing::RunErrorLine("scan-fault",
                                      "scan of module Plain: a device that is none was left out"),
                testing::RunErrorLine("scan-fault",
                                      "scan of module Plain: more than one device has the id 7")}));
}

TEST_F(ModuleAdapterTest, ADeviceThatThrowsAnswersEmpty) {
  module->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    auto device = std::make_unique<PlainDevice>("7");
    device->broken = true;
    devices.push_back(std::move(device));
    return devices;
  };
  module->help = []() -> std::string { throw 7; };
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  DeviceInformation information;
  information.name = "old";
  EXPECT_EQ(shown.GetDevice(0)->GetInformation(information).name, "");
  std::vector<DiagResource> resources{{"old", {}}};
  EXPECT_TRUE(shown.GetDevice(0)->GetResources(resources).empty());
  std::string help = "old";
  EXPECT_EQ(shown.GetHelpText(help), "");
}

TEST_F(ModuleAdapterTest, ReadersFillWhatTheCallerGives) {
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  DeviceInformation information;
  EXPECT_EQ(&shown.GetDevice(0)->GetInformation(information), &information);
  EXPECT_EQ(information.name, "Device 0");
  std::vector<DiagResource> resources(5);
  EXPECT_EQ(&shown.GetDevice(0)->GetResources(resources), &resources);
  ASSERT_EQ(resources.size(), 1U);
  EXPECT_EQ(resources[0].type, "PARTITION");
}

TEST_F(ModuleAdapterTest, ATestAppliesToItsOwnModulesDevicesOnly) {
  sdk::TestRecord test = MakeTest("one", 1, Passes());
  test.appliesTo = [](const sdk::Device& device) { return device.Id() == "1"; };
  module->diagnostics = {MakeDiagnostic("QUICK", 1, {test, MakeTest("every", 2, Passes())})};
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  DiagTest* one = shown.GetDiagnostics()->front()->Tests()->at(0);
  DiagTest* every = shown.GetDiagnostics()->front()->Tests()->at(1);
  EXPECT_FALSE(one->AppliesTo(shown.GetDevice(0)));
  EXPECT_TRUE(one->AppliesTo(shown.GetDevice(1)));
  EXPECT_FALSE(one->AppliesTo(nullptr));
  EXPECT_TRUE(every->AppliesTo(shown.GetDevice(0)));
  EXPECT_TRUE(every->AppliesTo(nullptr));
  EXPECT_FALSE(every->AppliesTo(reinterpret_cast<DiagDevice*>(8)));
}

TEST_F(ModuleAdapterTest, AnUntestableDeviceIsShownToNoTestAndNoTool) {
  module->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    auto device = std::make_unique<PlainDevice>("7");
    device->whyUntestable = "|BLIND";
    devices.push_back(std::move(device));
    return devices;
  };
  sdk::TestRecord test = MakeTest("one", 1, Passes());
  test.appliesTo = [](const sdk::Device&) -> bool { throw std::logic_error("seen"); };
  test.parametersOn = [](const sdk::Device&) -> std::vector<sdk::ParameterSpec> { throw 1; };
  test.parameters.resize(1);
  std::size_t given = 99;
  sdk::ToolRecord tool;
  tool.run = [&given](sdk::ToolContext& context) { given = context.Devices().size(); };
  module->tools = {tool};
  module->diagnostics = {MakeDiagnostic("QUICK", 1, {test})};
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_TRUE(FirstTest()->AppliesTo(shown.GetDevice(0)));
  std::vector<TestParameter> parameters;
  EXPECT_EQ(FirstTest()->GetParameters(parameters, shown.GetDevice(0)).size(), 1U);
  EXPECT_FALSE(shown.Tools()->front()->IsApplicable(shown.GetDevice(0)));
  shown.FindTool(shown.Tools()->front())->Run(nullptr, {shown.FindDevice(shown.GetDevice(0))});
  EXPECT_EQ(given, 0U);
}

TEST_F(ModuleAdapterTest, AnAnswerThatThrowsIsNo) {
  sdk::TestRecord test = MakeTest("one", 1, Passes());
  test.appliesTo = [](const sdk::Device&) -> bool { throw std::runtime_error("?"); };
  test.parametersOn = [](const sdk::Device&) -> std::vector<sdk::ParameterSpec> { throw 1; };
  module->diagnostics = {MakeDiagnostic("QUICK", 1, {test})};
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_FALSE(FirstTest()->AppliesTo(shown.GetDevice(0)));
  std::vector<TestParameter> parameters(3);
  EXPECT_TRUE(FirstTest()->GetParameters(parameters, shown.GetDevice(0)).empty());
}

TEST_F(ModuleAdapterTest, ParametersMayDependOnTheDevice) {
  sdk::ParameterSpec common;
  common.name = "blocks";
  common.greatest = 10;
  sdk::TestRecord test = MakeTest("one", 1, Passes());
  test.needsOperator = true;
  test.parameters = {common};
  test.parametersOn = [common](const sdk::Device& device) {
    sdk::ParameterSpec own = common;
    own.greatest = device.Id() == "1" ? 100 : 50;
    return std::vector<sdk::ParameterSpec>{own};
  };
  module->diagnostics = {MakeDiagnostic("QUICK", 1, {test})};
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_TRUE(FirstTest()->NeedsOperator());
  std::vector<TestParameter> parameters;
  EXPECT_EQ(FirstTest()->DefaultParameters(parameters).at(0).range[1], 10U);
  EXPECT_EQ(FirstTest()->GetParameters(parameters, shown.GetDevice(1)).at(0).range[1], 100U);
  EXPECT_EQ(FirstTest()->GetParameters(parameters, shown.GetDevice(0)).at(0).range[1], 50U);
  EXPECT_EQ(FirstTest()->GetParameters(parameters, nullptr).at(0).range[1], 10U);
}

TEST_F(ModuleAdapterTest, AScanCanBeStopped) {
  bool stopped = false;
  module->scan = [&stopped](std::stop_token stop) {
    stopped = stop.stop_requested();
    return std::vector<std::unique_ptr<sdk::Device>>();
  };
  ModuleAdapter& shown = Adapt();
  shown.ScanDevices();
  EXPECT_FALSE(stopped);
  scanStop.request_stop();
  shown.ScanDevices();
  EXPECT_TRUE(stopped);
}

}  // namespace
}  // namespace orvan::core
