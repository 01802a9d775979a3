#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class RunPlan : public FrontEndTest {
 protected:
  RunPlan() { storage = &AddStorage(); }

  // Parses, scans and plans; what was printed before the plan is dropped.
  ModuleSelection& Plan(const Words& words) {
    EXPECT_EQ(Parse(words), 0);
    ModuleSelection& selection = Selection("storage");
    cli->ScanModuleDevices(&selection);
    capture.Take();
    cli->BuildRunPlan(&selection);
    return selection;
  }
  // "device: Diagnostic(test,test) Diagnostic(test)" for each plan.
  static Words Shape(const ModuleSelection& selection) {
    Words shapes;
    std::string name;
    for (const DeviceRunPlan& plan : selection.plans) {
      std::string shape = (plan.device == nullptr ? "null" : plan.device->GetId(name)) + ":";
      for (const DiagnosticRunItem& item : plan.diagnostics) {
        shape += " " + item.diagnostic->Name(name) + "(";
        for (const TestRunItem& test : item.tests) shape += test.test->Name(name) + ",";
        shape.back() = item.tests.empty() ? '(' : ')';
      }
      shapes.push_back(shape);
    }
    return shapes;
  }
  const TestRunItem& FirstItem(const ModuleSelection& selection) {
    return selection.plans.at(0).diagnostics.at(0).tests.at(0);
  }

  FakeModule* storage;
};

constexpr char kQuickAll[] = " QUICK_CHECK(FUNNEL_TEST,READ_TEST)";

TEST_F(RunPlan, TheDefaultIsTheFirstDiagnosticOnAllDevices) {
  EXPECT_EQ(Shape(Plan({"-Mstorage"})),
            (Words{std::string("0:") + kQuickAll, std::string("1:") + kQuickAll}));
}

TEST_F(RunPlan, TheDefaultOnNamedDevicesRunsOnThemOnly) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "1"})), Words{std::string("1:") + kQuickAll});
}

TEST_F(RunPlan, TheDefaultOfAModuleWithoutDiagnosticsIsNothing) {
  storage->diagnosticList.clear();
  ModuleSelection& selection = Plan({"-Mstorage"});
  EXPECT_TRUE(selection.plans.empty());
  EXPECT_TRUE(selection.diagnostics.empty());
}

TEST_F(RunPlan, ANullSelectionAndOneWithoutAModuleDoNothing) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  ModuleSelection selection;
  cli->BuildRunPlan(nullptr);
  cli->BuildRunPlan(&selection);
  EXPECT_TRUE(selection.plans.empty());
}

TEST_F(RunPlan, NamedTestsComeInTheOrderOfTheText) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qr,f", "0"})),
            Words{"0: QUICK_CHECK(READ_TEST,FUNNEL_TEST)"});
}

TEST_F(RunPlan, SeveralDiagnosticsComeInTheirOrder) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-E", "-Qr", "1", "0"})),
            (Words{"1: EXTENDED_CHECK(SURFACE_TEST) QUICK_CHECK(READ_TEST)",
                   "0: EXTENDED_CHECK(SURFACE_TEST) QUICK_CHECK(READ_TEST)"}))
      << "one plan per device, in the order of mention";
}

TEST_F(RunPlan, ADeviceInADiagnosticsTextGetsThatDiagnosticOnly) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qf,0", "-Es,1"})),
            (Words{"0: QUICK_CHECK(FUNNEL_TEST)", "1: EXTENDED_CHECK(SURFACE_TEST)"}));
}

TEST_F(RunPlan, ADiagnosticForAllDevicesReachesDevicesOfOtherTextsToo) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qf,0", "-E"})),
            (Words{"0: QUICK_CHECK(FUNNEL_TEST) EXTENDED_CHECK(SURFACE_TEST)",
                   "1: EXTENDED_CHECK(SURFACE_TEST)"}));
}

TEST_F(RunPlan, WithDevicesOnTheLineADiagnosticForAllDevicesKeepsToThem) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qf,0", "-E", "1"})),
            (Words{"1: QUICK_CHECK(FUNNEL_TEST) EXTENDED_CHECK(SURFACE_TEST)",
                   "0: QUICK_CHECK(FUNNEL_TEST)"}))
      << "a device of the line takes all diagnostics of the selection, and was mentioned first";
}

TEST_F(RunPlan, TheSameDiagnosticTwiceRunsOnceWithTheItemsOfItsFirstMention) {
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qr", "-Qf", "0"})), Words{"0: QUICK_CHECK(READ_TEST)"});
}

// Devices that the module does not have.

TEST_F(RunPlan, ADeviceThatTheModuleDoesNotHaveIsMissing) {
  ModuleSelection& selection = Plan({"-Mstorage", "7", "0", "8"});
  EXPECT_EQ(selection.missingDevices, (Words{"7", "8"}));
  EXPECT_EQ(Shape(selection), Words{std::string("0:") + kQuickAll});
}

TEST_F(RunPlan, ForASupervisorAMissingDeviceStaysInThePlanWithANullDevice) {
  ModuleSelection& selection = Plan({"--HDK", "-Mstorage", "7"});
  EXPECT_EQ(selection.missingDevices, Words{"7"});
  EXPECT_EQ(Shape(selection), Words{std::string("null:") + kQuickAll});
}

TEST_F(RunPlan, ForASupervisorAModuleWithoutDevicesGetsThePseudoDevice) {
  storage->deviceList.clear();
  ModuleSelection& selection = Plan({"--HDK", "-Mstorage"});
  ASSERT_EQ(selection.devices.size(), 1U);
  EXPECT_EQ(selection.devices.at(0).first, "NO_DEVICE_FOUND");
  EXPECT_EQ(selection.devices.at(0).second->name, "NO_DEVICE_FOUND");
  EXPECT_EQ(Shape(selection), Words{std::string("null:") + kQuickAll});
}

TEST_F(RunPlan, WithoutASupervisorAModuleWithoutDevicesGetsNoPlan) {
  storage->deviceList.clear();
  EXPECT_TRUE(Plan({"-Mstorage"}).plans.empty());
}

// Tests that do not apply.

TEST_F(RunPlan, TestsThatDoNotApplyAreLeftOut) {
  TestOf(*storage, 0, 0).NotOn("1");
  ModuleSelection& selection = Plan({"-Mstorage", "-Q"});
  EXPECT_EQ(Shape(selection), (Words{std::string("0:") + kQuickAll, "1: QUICK_CHECK(READ_TEST)"}));
  EXPECT_EQ(Screen(), "");
}

TEST_F(RunPlan, ADiagnosticWithoutAnyTestForADeviceWarnsOnceAndLeavesNoItem) {
  TestOf(*storage, 0, 0).NotOn("1");
  TestOf(*storage, 0, 1).NotOn("1");
  ModuleSelection& selection = Plan({"-Mstorage", "-Q", "-E"});
  EXPECT_EQ(Screen(), "[Warning] Quick check are not supported for device: 1\n");
  EXPECT_EQ(Shape(selection),
            (Words{std::string("0:") + kQuickAll + " EXTENDED_CHECK(SURFACE_TEST)",
                   "1: EXTENDED_CHECK(SURFACE_TEST)"}));
}

TEST_F(RunPlan, ADiagnosticWithoutTestsWarnsAndLeavesNoItem) {
  storage->AddDiagnostic("EMPTY_CHECK", "N", "empty", 1);
  ModuleSelection& selection = Plan({"-Mstorage", "-N", "-E", "0"});
  EXPECT_EQ(Screen(), "[Warning] Empty check are not supported for device: 0\n");
  EXPECT_EQ(Shape(selection), Words{"0: EXTENDED_CHECK(SURFACE_TEST)"});
}

TEST_F(RunPlan, ForASupervisorADiagnosticWithoutTestsLeavesNoItemEither) {
  storage->AddDiagnostic("EMPTY_CHECK", "N", "empty", 1);
  EXPECT_EQ(Shape(Plan({"--HDK", "-Mstorage", "-N", "0"})), Words{"0:"});
}

TEST_F(RunPlan, ThePlanOfADeviceWithNothingThatAppliesStays) {
  TestOf(*storage, 1, 0).NotOn("1");
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-E"})), (Words{"0: EXTENDED_CHECK(SURFACE_TEST)", "1:"}));
}

TEST_F(RunPlan, TheRefusalsAreCountedForEachDiagnosticAnew) {
  FakeDiagnostic& mixed = storage->AddDiagnostic("MIXED_CHECK", "N", "mixed", 1);
  mixed.AddTest("ONE_TEST", "1", "one").NotOn("0");
  mixed.AddTest("TWO_TEST", "2", "two");
  TestOf(*storage, 0, 0).NotOn("0");
  ModuleSelection& selection = Plan({"-Mstorage", "-Q", "-N", "0"});
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(Shape(selection), Words{"0: QUICK_CHECK(READ_TEST) MIXED_CHECK(TWO_TEST)"});
}

TEST_F(RunPlan, ForASupervisorTestsAreTakenWithoutAskingThem) {
  TestOf(*storage, 0, 0).NotOn("0");
  EXPECT_EQ(Shape(Plan({"--HDK", "-Mstorage", "-Q", "0"})), Words{std::string("0:") + kQuickAll});
  EXPECT_EQ(TestOf(*storage, 0, 0).appliesAsked, 0);
}

TEST_F(RunPlan, NamedTestsAreTakenWithoutAskingThem) {
  TestOf(*storage, 0, 0).NotOn("0");
  EXPECT_EQ(Shape(Plan({"-Mstorage", "-Qf", "0"})), Words{"0: QUICK_CHECK(FUNNEL_TEST)"});
  EXPECT_EQ(TestOf(*storage, 0, 0).appliesAsked, 0);
}

// Parameters.

class PlannedParameters : public RunPlan {
 protected:
  PlannedParameters() {
    TestOf(*storage, 0, 0)
        .Parameter("Loops", kParameterInteger)
        .Parameter("verify", kParameterBoolean)
        .Parameter("pattern", kParameterText);
  }
};

TEST_F(PlannedParameters, ATestWithoutRawParametersGetsNone) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf", "0"}));
  EXPECT_TRUE(item.rawParameters.empty());
  EXPECT_TRUE(item.parameters.empty());
}

TEST_F(PlannedParameters, ATestOfAWholeDiagnosticGetsNone) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Q", "0"}));
  EXPECT_TRUE(item.rawParameters.empty());
  EXPECT_TRUE(item.parameters.empty());
}

TEST_F(PlannedParameters, AKnownParameterKeepsItsRecordAndTakesTheValue) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(LOOPS=5)", "0"}));
  EXPECT_EQ(item.rawParameters, std::set<std::string>{"LOOPS=5"});
  ASSERT_EQ(item.parameters.size(), 1U) << "only what the user gave";
  const TestParameter& parameter = item.parameters.at(0);
  EXPECT_EQ(parameter.name, "Loops") << "compared without regard to case";
  EXPECT_EQ(parameter.label, "LABEL_OF_Loops");
  EXPECT_EQ(parameter.detail, "detail of Loops");
  EXPECT_EQ(parameter.initialValue, "initial");
  EXPECT_EQ(parameter.value, "5");
  EXPECT_EQ(parameter.type, kParameterInteger);
  EXPECT_EQ(parameter.extra, "extra of Loops");
  EXPECT_EQ(parameter.range, (std::array<std::uint32_t, 2>{1, 9}));
}

TEST_F(PlannedParameters, ABooleanValueIsPutInCapitals) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(verify=true)", "0"}));
  EXPECT_EQ(item.parameters.at(0).value, "TRUE");
}

TEST_F(PlannedParameters, ATextValueStaysAsItIs) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(pattern=aBc)", "0"}));
  EXPECT_EQ(item.parameters.at(0).value, "aBc");
}

TEST_F(PlannedParameters, ParametersComeInTheOrderOfTheSet) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(pattern=x,Loops=1,verify=t)", "0"}));
  ASSERT_EQ(item.parameters.size(), 3U);
  EXPECT_EQ(item.parameters.at(0).name, "Loops");
  EXPECT_EQ(item.parameters.at(1).name, "pattern");
  EXPECT_EQ(item.parameters.at(2).name, "verify");
}

TEST_F(PlannedParameters, AnUnknownParameterIsPassedOn) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(speed=fast)", "0"}));
  ASSERT_EQ(item.parameters.size(), 1U);
  const TestParameter& parameter = item.parameters.at(0);
  EXPECT_EQ(parameter.name, "speed");
  EXPECT_EQ(parameter.label, "speed");
  EXPECT_EQ(parameter.detail, "");
  EXPECT_EQ(parameter.initialValue, "fast");
  EXPECT_EQ(parameter.value, "fast");
  EXPECT_EQ(parameter.type, 4);
  EXPECT_EQ(parameter.extra, "");
  EXPECT_EQ(parameter.range, (std::array<std::uint32_t, 2>{0, 0}));
}

TEST_F(PlannedParameters, ANameAloneHasAnEmptyValue) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(loops)", "0"}));
  ASSERT_EQ(item.parameters.size(), 1U);
  EXPECT_EQ(item.parameters.at(0).value, "");
}

TEST_F(PlannedParameters, ThreePartsAreIgnored) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(loops=1=2,pattern=x)", "0"}));
  ASSERT_EQ(item.parameters.size(), 1U);
  EXPECT_EQ(item.parameters.at(0).name, "pattern");
  EXPECT_EQ(item.rawParameters.count("loops=1=2"), 1U) << "the raw text stays";
}

TEST_F(PlannedParameters, ANewParameterIsKnownToThoseBehindIt) {
  const TestRunItem item = FirstItem(Plan({"-Mstorage", "-Qf(speed=1,SPEED=2)", "0"}));
  ASSERT_EQ(item.parameters.size(), 2U);
  EXPECT_EQ(item.parameters.at(0).name, "SPEED") << "capitals sort first";
  EXPECT_EQ(item.parameters.at(1).name, "SPEED");
  EXPECT_EQ(item.parameters.at(1).value, "1");
}

TEST_F(PlannedParameters, TheParametersAreThoseOfTheDevice) {
  TestParameter own;
  own.name = "loops";
  own.label = "ON_ONE";
  TestOf(*storage, 0, 0).deviceParameters["1"] = {own};
  ModuleSelection& selection = Plan({"-Mstorage", "-Qf(loops=1)", "0", "1"});
  EXPECT_EQ(FirstItem(selection).parameters.at(0).label, "LABEL_OF_Loops");
  EXPECT_EQ(selection.plans.at(1).diagnostics.at(0).tests.at(0).parameters.at(0).label, "ON_ONE");
}

// Counting.

TEST_F(RunPlan, PlannedTestsAreCountedOverPlansAndDiagnostics) {
  ModuleSelection& selection = Plan({"-Mstorage", "-Q", "-E"});
  EXPECT_EQ(cli->CountPlannedTests(selection.plans), 6U);
  EXPECT_EQ(cli->CountPlannedTests({}), 0U);
}

TEST_F(RunPlan, PlannedTestsAreThereWhenThePlansHoldSome) {
  ModuleSelection& selection = Plan({"-Mstorage"});
  EXPECT_TRUE(cli->HasPlannedTests(&selection));
  EXPECT_FALSE(cli->HasPlannedTests(nullptr));
  DiagModule* module = selection.module;
  selection.module = nullptr;
  EXPECT_FALSE(cli->HasPlannedTests(&selection));
  selection.module = module;
  std::vector<DiagDevice*> none;
  selection.serviceDevices = &none;
  EXPECT_FALSE(cli->HasPlannedTests(&selection));
  cli->flags |= CLI_FLAG_SUPERVISED;
  EXPECT_TRUE(cli->HasPlannedTests(&selection));
  selection.plans.clear();
  EXPECT_FALSE(cli->HasPlannedTests(&selection));
}

TEST_F(RunPlan, PlansWithoutItemsHoldNoPlannedTests) {
  TestOf(*storage, 1, 0).NotOn("0");
  ModuleSelection& selection = Plan({"-Mstorage", "-E", "0"});
  EXPECT_EQ(selection.plans.size(), 1U);
  EXPECT_FALSE(cli->HasPlannedTests(&selection));
}

}  // namespace
