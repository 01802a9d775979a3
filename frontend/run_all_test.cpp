#include <algorithm>

#include "boundary/orvan_service_errors.h"
#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

const std::string kTitle = kRule + "Executing all modules\n" + kRule + "\n";
constexpr char kNothingForKind[] =
    "[Warning] No available tests for the current selection of Run All\n\n";

class RunAllTest : public FrontEndTest {
 protected:
  RunAllTest() {
    storage = &AddStorage();
    memory = &AddMemory();
  }
  // "module/device: Diagnostic(test,test)" for each run.
  Words Runs() {
    Words texts;
    std::string name;
    for (const FakeService::Run& run : service().runs) {
      std::string text = run.module->GetDisplayName(name) + "/";
      text += (run.device == nullptr ? "null" : run.device->GetId(name)) + ":";
      for (const DiagnosticRunItem& item : run.plan) {
        text += " " + item.diagnostic->Name(name) + "(";
        for (const TestRunItem& test : item.tests) text += test.test->Name(name) + ",";
        text.back() = item.tests.empty() ? '(' : ')';
      }
      texts.push_back(text);
    }
    return texts;
  }

  FakeModule* storage;
  FakeModule* memory;
};

TEST_F(RunAllTest, PlainRunAllRunsTheFirstDiagnosticOfEachModuleOnAllItsDevices) {
  const std::string screen = Run({"-U"});
  EXPECT_EQ(Runs(), (Words{"storage/0: QUICK_CHECK(FUNNEL_TEST,READ_TEST)",
                           "storage/1: QUICK_CHECK(FUNNEL_TEST,READ_TEST)",
                           "memory/2: KERNEL_CHECK(MARCH_TEST)"}));
  const auto quick = [](const std::string& id, const std::string& name) {
    return DeviceStartText(id, name) + DiagnosticStartText("Quick Check") +
           TestText("Funnel Test", "Passed") + TestText("Read Test", "Passed") +
           DiagnosticEndText("Quick Check") + DeviceEndText("DEVICE-CODE");
  };
  EXPECT_EQ(screen, kTitle + ScanText("storage") + quick("0", "Disk A") + quick("1", "Disk B") +
                        "\n" + ScanText("memory") + DeviceStartText("2", "Bank A") +
                        DiagnosticStartText("Kernel Check") + TestText("March Test", "Passed") +
                        DiagnosticEndText("Kernel Check") + DeviceEndText("DEVICE-CODE") + "\n" +
                        FinalText("FINAL-CODE"))
      << "one final result code at the end";
  EXPECT_EQ(service().CountCalls("BeginFinalResult"), 1);
  EXPECT_EQ(cli->result, 0);
}

TEST_F(RunAllTest, NothingRunsWithoutTheFlag) {
  EXPECT_EQ(Parse({"-v"}), 0);
  capture.Take();
  cli->RunAll();
  EXPECT_EQ(Screen(), "");
}

TEST_F(RunAllTest, QuickRunsDiagnosticsOfThatKind) {
  Run({"-Uq"});
  EXPECT_EQ(Runs(), (Words{"storage/0: QUICK_CHECK(FUNNEL_TEST,READ_TEST)",
                           "storage/1: QUICK_CHECK(FUNNEL_TEST,READ_TEST)",
                           "memory/2: KERNEL_CHECK(MARCH_TEST)"}));
}

TEST_F(RunAllTest, ExtendedRunsDiagnosticsOfThatKindAndWarnsForModulesWithoutOne) {
  const std::string screen = Run({"-Ue"});
  EXPECT_EQ(Runs(), (Words{"storage/0: EXTENDED_CHECK(SURFACE_TEST)",
                           "storage/1: EXTENDED_CHECK(SURFACE_TEST)"}));
  EXPECT_NE(screen.find(ScanText("memory") + kNothingForKind + FinalText("FINAL-CODE")),
            std::string::npos)
      << screen;
  EXPECT_EQ(cli->result, 0) << "32 does not replace a passed run";
}

TEST_F(RunAllTest, QuickAndExtendedRunAllThatApplies) {
  Run({"-Uq,e"});
  EXPECT_EQ(Runs().at(0),
            "storage/0: QUICK_CHECK(FUNNEL_TEST,READ_TEST) EXTENDED_CHECK(SURFACE_TEST)");
}

TEST_F(RunAllTest, OnlyUnattendedAloneRunsTheQuickOnesWithoutAPerson) {
  TestOf(*storage, 0, 0).Operator();
  Run({"-Uo"});
  EXPECT_EQ(Runs(), (Words{"storage/0: QUICK_CHECK(READ_TEST)", "storage/1: QUICK_CHECK(READ_TEST)",
                           "memory/2: KERNEL_CHECK(MARCH_TEST)"}));
}

TEST_F(RunAllTest, AllKindsOnlyUnattendedLeaveOutTestsThatNeedAPerson) {
  TestOf(*storage, 0, 1).Operator();
  Run({"-Uq,e,o"});
  EXPECT_EQ(Runs().at(0), "storage/0: QUICK_CHECK(FUNNEL_TEST) EXTENDED_CHECK(SURFACE_TEST)");
}

TEST_F(RunAllTest, TestsThatNeedAPersonRunOtherwise) {
  TestOf(*storage, 0, 1).Operator();
  Run({"-Uq"});
  EXPECT_EQ(Runs().at(0), "storage/0: QUICK_CHECK(FUNNEL_TEST,READ_TEST)");
}

TEST_F(RunAllTest, OtherKindsOfDiagnosticsRunUnderEverySelection) {
  storage->AddDiagnostic("ODD_CHECK", "O", "odd", 7).AddTest("ODD_TEST", "o", "odd");
  Run({"-Ue"});
  EXPECT_EQ(Runs().at(0), "storage/0: EXTENDED_CHECK(SURFACE_TEST) ODD_CHECK(ODD_TEST)");
}

TEST_F(RunAllTest, TestsThatDoNotApplyAreLeftOut) {
  TestOf(*storage, 0, 0).NotOn("1");
  Run({"-Uq"});
  EXPECT_EQ(Runs().at(1), "storage/1: QUICK_CHECK(READ_TEST)");
}

TEST_F(RunAllTest, TestsOfOneNameRunOnce) {
  static_cast<FakeDiagnostic*>(storage->diagnosticList.at(1))
      ->AddTest("SURFACE_TEST", "s2", "surface2");
  Run({"-Ue"});
  EXPECT_EQ(Runs().at(0), "storage/0: EXTENDED_CHECK(SURFACE_TEST)");
}

TEST_F(RunAllTest, TestsHaveNoParameters) {
  TestOf(*memory, 0, 0).Parameter("loops", kParameterInteger);
  Run({"-Uq"});
  const TestRunItem& item = service().runs.back().plan.at(0).tests.at(0);
  EXPECT_TRUE(item.rawParameters.empty());
  EXPECT_TRUE(item.parameters.empty());
}

TEST_F(RunAllTest, APlanWithoutTestItemsIsSkipped) {
  TestOf(*storage, 1, 0).NotOn("1");
  Run({"-Ue"});
  EXPECT_EQ(Runs(), Words{"storage/0: EXTENDED_CHECK(SURFACE_TEST)"});
}

TEST_F(RunAllTest, APlainRunAllSkipsAPlanWithoutTestItemsToo) {
  TestOf(*storage, 0, 0).NotOn("1");
  TestOf(*storage, 0, 1).NotOn("1");
  Run({"-U"});
  EXPECT_EQ(Runs(), (Words{"storage/0: QUICK_CHECK(FUNNEL_TEST,READ_TEST)",
                           "memory/2: KERNEL_CHECK(MARCH_TEST)"}));
}

// Modules with nothing to run.

class RunAllAlone : public FrontEndTest {};

TEST_F(RunAllAlone, NothingForTheKindAnywhereGivesResult32) {
  AddMemory();
  EXPECT_EQ(Run({"-Ue"}), kTitle + ScanText("memory") + kNothingForKind);
  EXPECT_EQ(cli->result, 32);
  EXPECT_FALSE(service().Called("GetFinalResultCode"));
  EXPECT_FALSE(service().Called("SetSuiteListener(set)")) << "the module is not run";
}

TEST_F(RunAllAlone, AModuleOfExtendedDiagnosticsHasNothingForQuickAndTheNextOneIsLookedAt) {
  service().AddModule("surface").AddDiagnostic("LONG_CHECK", "L", "long", 2).AddTest("L", "l", "l");
  static_cast<FakeModule*>(service().moduleList.at(0))->AddDevice("0", "Disk A");
  service().AddModule("lamp").AddDiagnostic("LAMP_CHECK", "L", "lamp", 2).AddTest("M", "m", "m");
  static_cast<FakeModule*>(service().moduleList.at(1))->AddDevice("0", "Lamp A");
  EXPECT_EQ(Run({"-Uq"}),
            kTitle + ScanText("surface") + kNothingForKind + ScanText("lamp") + kNothingForKind);
  EXPECT_EQ(cli->ExitStatus(), 32);
}

TEST_F(RunAllAlone, NoTestThatAppliesAnywhereGivesResult32) {
  FakeModule& memory = AddMemory();
  TestOf(memory, 0, 0).NotOn("2");
  EXPECT_EQ(Run({"-Uq"}), kTitle + ScanText("memory") + kNothingForKind);
  EXPECT_EQ(cli->result, 32);
}

TEST_F(RunAllAlone, APassedModuleBehindOneWithNothingToRunGivesZero) {
  AddMemory();
  AddStorage();
  Run({"-Ue"});
  EXPECT_EQ(cli->result, 0) << "a status replaces 32, which has no rank";
}

TEST_F(RunAllAlone, AModuleWithoutDevicesReportsThem) {
  AddMemory().deviceList.clear();
  EXPECT_EQ(Run({"-Uq"}),
            kTitle + ScanText("memory") + "[Warning] No devices found for this module\n\n");
  EXPECT_EQ(cli->result, 31);
}

TEST_F(RunAllAlone, APlainRunAllOfAModuleWithoutDevicesReportsThemToo) {
  AddMemory().deviceList.clear();
  Run({"-U"});
  EXPECT_EQ(cli->result, 31);
}

TEST_F(RunAllAlone, AModuleWithoutDiagnosticsOfItsOwnHasNothingToRun) {
  FakeModule& memory = AddMemory();
  memory.diagnosticList.clear();
  EXPECT_EQ(Run({"-Uq,e"}), kTitle + ScanText("memory") + kNothingForKind);
  EXPECT_EQ(cli->result, 32);
}

TEST_F(RunAllAlone, APlainRunAllWithoutAnyTestThatAppliesGives23WhateverWasBefore) {
  FakeModule& storage = AddStorage();
  TestOf(storage, 0, 0).Status(kTestFailed);
  FakeModule& memory = AddMemory();
  TestOf(memory, 0, 0).NotOn("2");
  const std::string screen = Run({"-U"});
  EXPECT_NE(
      screen.find(ScanText("memory") +
                  "[Warning] Kernel check are not supported for device: 2\n"
                  "[Warning] No selected diagnostics are applicable for the selected devices\n" +
                  FinalText("FINAL-CODE")),
      std::string::npos)
      << screen;
  EXPECT_EQ(cli->result, 23);
}

TEST_F(RunAllAlone, AnEntryWithoutAModuleIsSkipped) {
  AddMemory();
  AddStorage();
  EXPECT_EQ(Parse({"-Uq"}), 0);
  cli->runAllModules.at(0).second->module = nullptr;
  cli->RunAll();
  EXPECT_EQ(service().CountCalls("SetSuiteListener(set)"), 1) << "for the other one";
  EXPECT_EQ(service().runs.size(), 2U);
}

TEST_F(RunAllAlone, TheFinalResultIsOpenedByTheFirstModuleWithTests) {
  AddMemory().deviceList.clear();
  AddStorage();
  Run({"-Uq"});
  const std::vector<std::string> calls = service().Calls();
  const auto opened = std::find(calls.begin(), calls.end(), "BeginFinalResult");
  ASSERT_NE(opened, calls.end());
  EXPECT_LT(std::find(calls.begin(), calls.end(), "SetNoDevicesMode(true)"), opened);
  EXPECT_LT(opened, std::find(calls.begin(), calls.end(), "ExecuteDiagnostics(storage,0)"));
}

TEST_F(RunAllAlone, AModuleThatCannotRunDoesNotStopTheOthers) {
  AddMemory().deviceList.clear();
  AddStorage();
  Run({"-Uq"});
  EXPECT_EQ(service().runs.size(), 2U);
  EXPECT_EQ(cli->result, 0);
}

TEST_F(RunAllAlone, AnEmptyListOfModulesOnlyWarns) {
  AddMemory();
  EXPECT_EQ(Parse({"-U"}), 0);
  capture.Take();
  cli->runAllModules.clear();
  cli->RunAll();
  EXPECT_EQ(Screen(), kTitle + "[Warning] No module loaded\n\n");
  EXPECT_EQ(cli->result, -1);
}

TEST_F(RunAllAlone, DevicesOfOneIdentifierShareAnEntryAndEachAddsItsDiagnostics) {
  FakeModule& memory = AddMemory();
  memory.AddDevice("2", "Bank B");
  Run({"-Uq"});
  ModuleSelection& selection = *cli->runAllModules.at(0).second;
  ASSERT_EQ(selection.devices.size(), 1U);
  EXPECT_EQ(selection.devices.at(0).first, "2");
  EXPECT_EQ(selection.devices.at(0).second->diagnostics.size(), 2U);
  EXPECT_EQ(service().runs.size(), 1U);
}

TEST_F(RunAllAlone, APlainRunAllRunsDevicesOfOneIdentifierOnceToo) {
  AddMemory().AddDevice("2", "Bank B");
  Run({"-U"});
  ASSERT_EQ(service().runs.size(), 1U);
  EXPECT_EQ(service().runs.at(0).plan.size(), 1U);
}

TEST_F(RunAllAlone, ADiagnosticWithoutTestsForTheDeviceIsKeptAsAnEmptyItem) {
  FakeModule& memory = AddMemory();
  memory.AddDiagnostic("SECOND_CHECK", "2", "second", 1).AddTest("NEVER", "n", "never").NotOn("2");
  Run({"-Uq"});
  ModuleSelection& selection = *cli->runAllModules.at(0).second;
  ASSERT_EQ(selection.devices.at(0).second->diagnostics.size(), 2U);
  const CliDiagnostic& second = *selection.devices.at(0).second->diagnostics.at(1);
  EXPECT_EQ(second.name, "SECOND_CHECK");
  EXPECT_TRUE(second.tests.empty());
  EXPECT_FALSE(second.allTests);
  EXPECT_TRUE(second.allDevices);
  ASSERT_EQ(service().runs.size(), 1U);
  ASSERT_EQ(service().runs.at(0).plan.size(), 2U) << "the service gets it beside one with tests";
  EXPECT_TRUE(service().runs.at(0).plan.at(1).tests.empty());
}

// Many devices.

// How often a Run All asks each of that many devices for its id.
class ManyDevices : public FrontEndTest, public ::testing::WithParamInterface<const char*> {
 protected:
  std::size_t IdsAskedFor(std::size_t count) {
    Stop();
    ResetFakeService();
    optind = 0;
    FakeModule& module = AddMemory();
    module.deviceList.clear();
    std::vector<std::unique_ptr<FakeDevice>> devices;
    for (std::size_t i = 0; i < count; ++i) {
      devices.push_back(std::make_unique<FakeDevice>("d" + std::to_string(i), "Disk"));
      module.deviceList.push_back(devices.back().get());
    }
    Run({GetParam()});
    EXPECT_EQ(service().runs.size(), count);
    Stop();
    std::size_t asked = 0;
    for (const std::unique_ptr<FakeDevice>& device : devices) {
      asked += device->timesAskedForId;
    }
    return asked;
  }
};

TEST_P(ManyDevices, AreAskedForTheirIdsAsOftenEachAsFew) {
  const std::size_t few = IdsAskedFor(10);
  EXPECT_EQ(few % 10, 0U);
  EXPECT_LE(few, 100U);
  EXPECT_EQ(IdsAskedFor(1000), 100 * few);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ManyDevices, ::testing::Values("-U", "-Uq"));

TEST_F(RunAllTest, InvalidAppKeyPassesUpward) {
  service().beginThrowsInvalidAppKey = true;
  EXPECT_EQ(Parse({"-U"}), 0);
  EXPECT_THROW(cli->RunAll(), InvalidAppKey);
}

TEST_F(RunAllTest, ASupervisedRunTellsTheService) {
  Run({"--HDK", "-U"});
  EXPECT_EQ(service().CountCalls("EnableSupervisedRun"), 1);
}

TEST_F(RunAllTest, AFailedModuleIsNotForgottenByOneWithNothingToRun) {
  TestOf(*storage, 1, 0).Status(kTestFailed);
  Run({"-Ue"});
  EXPECT_EQ(cli->result, 21);
}

}  // namespace
