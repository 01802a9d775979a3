#include <thread>

#include "boundary/orvan_service_errors.h"
#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class RunDriver : public FrontEndTest {
 protected:
  RunDriver() { storage = &AddStorage(); }

  FakeTest& F() { return TestOf(*storage, 0, 0); }
  FakeTest& R() { return TestOf(*storage, 0, 1); }
  FakeTest& S() { return TestOf(*storage, 1, 0); }
  // What the service was asked for from the first run on, without system events and settings.
  Words RunCalls() {
    const Words wanted{"SetSuiteListener(set)",   "SetTestListener(set)", "SetNoDevicesMode(true)",
                       "SetNoDevicesMode(false)", "BeginFinalResult",     "GetFinalResultCode",
                       "EnableSupervisedRun",     "AbortExecution"};
    Words calls;
    for (const std::string& call : service().Calls()) {
      const bool run = call.starts_with("ExecuteDiagnostics") || call.starts_with("ScanDevices");
      if (run || std::find(wanted.begin(), wanted.end(), call) != wanted.end()) {
        calls.push_back(call);
      }
    }
    return calls;
  }

  FakeModule* storage;
};

// The whole course.

TEST_F(RunDriver, ARunShowsEachDeviceDiagnosticAndTest) {
  service().deviceResult = "D-0";
  service().finalResultCode = "F-0";
  EXPECT_EQ(Run({"-Mstorage", "-Qf,r", "-E", "0"}),
            ScanText("storage") + DeviceStartText("0", "Disk A") +
                DiagnosticStartText("Quick Check") + TestText("Funnel Test", "Passed") +
                TestText("Read Test", "Passed") + DiagnosticEndText("Quick Check") +
                DiagnosticStartText("Extended Check") + TestText("Surface Test", "Passed") +
                DiagnosticEndText("Extended Check") + DeviceEndText("D-0") + "\n" +
                FinalText("F-0"));
  EXPECT_EQ(cli->result, 0);
}

TEST_F(RunDriver, TheServiceIsCalledInTheOrderOfARun) {
  Run({"-Mstorage", "-Q"});
  EXPECT_EQ(RunCalls(), (Words{"ScanDevices(storage)", "BeginFinalResult", "SetSuiteListener(set)",
                               "SetTestListener(set)", "SetNoDevicesMode(false)",
                               "ExecuteDiagnostics(storage,0)", "ExecuteDiagnostics(storage,1)",
                               "GetFinalResultCode"}));
  EXPECT_EQ(service().finalResultSizes, std::vector<int>{87});
}

TEST_F(RunDriver, TheAbortKeyEndsASearchForDevicesToo) {
  storage->onScan = [this] { service().AwaitAbort(); };
  EXPECT_EQ(Parse({"-Mstorage", "-Q", "0"}), 0);
  GetProcessState().abort.AbortFlag = true;
  cli->RunSelection();
  EXPECT_TRUE(GetProcessState().abort.abortRequested);
  const Words calls = RunCalls();
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls.at(0), "ScanDevices(storage)");
  EXPECT_EQ(calls.at(1), "AbortExecution");
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "ExecuteDiagnostics(storage,0)"), 1);
}

TEST_F(RunDriver, AListingThatSearchesForDevicesLooksAtNoKey) {
  class Unasked : public OrvanStdio {
   public:
    using OrvanStdio::OrvanStdio;
    bool IsAbortRequested() override {
      ADD_FAILURE() << "asked";
      return false;
    }
    ViewResult ShowDeviceScan(std::string name, bool finished) override {
      redrawn.Post();
      return OrvanStdio::ShowDeviceScan(name, finished);
    }
    FakeSemaphore redrawn;
  };
  EXPECT_EQ(Parse({"-Mstorage", "-D"}), 0);
  auto view = std::make_unique<Unasked>(capture);
  view->redrawn.Init(0, 100);
  storage->onScan = [seen = view.get()] {
    for (int i = 0; i < 2; ++i) seen->redrawn.Wait();
  };
  cli->view = std::move(view);
  cli->ShowInformation();
}

TEST_F(RunDriver, ThePlansReachTheService) {
  Run({"-Mstorage", "-Qf(a=1)", "1"});
  ASSERT_EQ(service().runs.size(), 1U);
  const FakeService::Run& run = service().runs.at(0);
  EXPECT_EQ(run.module, storage);
  EXPECT_EQ(run.device, storage->deviceList.at(1));
  ASSERT_EQ(run.plan.size(), 1U);
  EXPECT_EQ(run.plan.at(0).diagnostic, storage->diagnosticList.at(0));
  ASSERT_EQ(run.plan.at(0).tests.size(), 1U);
  EXPECT_EQ(run.plan.at(0).tests.at(0).test, &F());
  EXPECT_EQ(run.plan.at(0).tests.at(0).parameters.at(0).value, "1");
  EXPECT_NE(run.thread, std::this_thread::get_id());
}

TEST_F(RunDriver, TheListenersAndTheQueueAreGoneAfterARun) {
  Run({"-Mstorage", "-Q"});
  EXPECT_EQ(cli->suiteListener, nullptr);
  EXPECT_EQ(cli->testListener, nullptr);
  EXPECT_EQ(cli->eventQueue, nullptr);
}

TEST_F(RunDriver, NothingRunsWithoutTheDiagnosticFlag) {
  EXPECT_EQ(Parse({"-v"}), 0);
  capture.Take();
  cli->RunSelection();
  EXPECT_EQ(Screen(), "");
}

TEST_F(RunDriver, TwoModulesShareOneFinalResult) {
  AddMemory();
  const std::string screen = Run({"-Mstorage", "-Qf", "0", "-Mmemory"});
  EXPECT_EQ(screen, ScanText("storage") + DeviceStartText("0", "Disk A") +
                        DiagnosticStartText("Quick Check") + TestText("Funnel Test", "Passed") +
                        DiagnosticEndText("Quick Check") + DeviceEndText("DEVICE-CODE") + "\n" +
                        ScanText("memory") + DeviceStartText("2", "Bank A") +
                        DiagnosticStartText("Kernel Check") + TestText("March Test", "Passed") +
                        DiagnosticEndText("Kernel Check") + DeviceEndText("DEVICE-CODE") + "\n" +
                        FinalText("FINAL-CODE"));
  EXPECT_EQ(service().CountCalls("BeginFinalResult"), 1);
}

TEST_F(RunDriver, AModuleThatIsNotThereIsSkipped) {
  Run({"-Mnosuch", "-Mstorage"});
  EXPECT_EQ(service().runs.size(), 2U);
}

TEST_F(RunDriver, TheFinalResultIsOpenedWithGroupAndCaller) {
  Run({"-G77", "-CHelm,1.2,key,/cache", "-e1", "-Mstorage", "-Qf", "0"});
  ASSERT_EQ(service().finalResults.size(), 1U);
  EXPECT_EQ(service().finalResults.at(0).groupId, 77);
  EXPECT_EQ(service().finalResults.at(0).caller.appName, "Helm");
  EXPECT_EQ(service().finalResults.at(0).caller.cacheDir, "/cache");
}

TEST_F(RunDriver, InvalidAppKeyPassesUpward) {
  service().beginThrowsInvalidAppKey = true;
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_THROW(cli->RunSelection(), InvalidAppKey);
  EXPECT_TRUE(service().runs.empty());
}

TEST_F(RunDriver, ANullSelectionIsNoModuleToRun) {
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_EQ(cli->RunModule(nullptr), 0);
  EXPECT_FALSE(service().Called("SetSuiteListener(set)"));
}

TEST_F(RunDriver, ADeviceInformationEntryIsShownWithItsLabel) {
  static_cast<FakeDevice*>(storage->deviceList.at(0))
      ->Entry("SERIAL", "_ABC_|D")
      .Entry("SIZE", "5_G");
  const std::string screen = Run({"-Mstorage", "-Qf", "0"});
  EXPECT_NE(screen.find(FieldText("DISPLAY_NAME", "Display Name", "Disk A") +
                        FieldText("SERIAL", "Serial", "Abc D") + FieldText("SIZE", "Size", "5_G")),
            std::string::npos)
      << screen;
}

// Modules on which nothing can run.

TEST_F(RunDriver, AModuleWithoutDevicesWarnsWithResult31) {
  storage->deviceList.clear();
  EXPECT_EQ(Run({"-Mstorage"}),
            ScanText("storage") + "[Warning] No devices found for this module\n\n");
  EXPECT_EQ(cli->result, 31);
  EXPECT_TRUE(service().Called("SetNoDevicesMode(true)"));
  EXPECT_FALSE(service().Called("BeginFinalResult"));
  EXPECT_TRUE(service().runs.empty());
}

TEST_F(RunDriver, OnlyMissingDevicesAreNamedWithResult31) {
  EXPECT_EQ(Run({"-Mstorage", "7", "Disk8"}),
            ScanText("storage") + "[Warning] Following device(s) are not available: 7, Disk8\n\n");
  EXPECT_EQ(cli->result, 31);
}

TEST_F(RunDriver, SomeMissingDevicesAreNamedAndTheOthersRun) {
  EXPECT_EQ(Run({"-Mstorage", "-Qf", "7", "0"}),
            ScanText("storage") + "[Warning] Devices not found: 7\n" +
                DeviceStartText("0", "Disk A") + DiagnosticStartText("Quick Check") +
                TestText("Funnel Test", "Passed") + DiagnosticEndText("Quick Check") +
                DeviceEndText("DEVICE-CODE") + "\n" + FinalText("FINAL-CODE"));
  EXPECT_EQ(cli->result, 0);
}

TEST_F(RunDriver, NothingApplicableWarnsWithResult23) {
  S().NotOn("1");
  EXPECT_EQ(Run({"-Mstorage", "-E", "1"}),
            ScanText("storage") +
                "[Warning] Extended check are not supported for device: 1\n"
                "[Warning] No selected diagnostics are applicable for the selected devices\n")
      << "the warning has no line end of its own, and one ends the module";
  EXPECT_EQ(cli->result, 23);
  EXPECT_FALSE(service().Called("GetFinalResultCode"));
}

TEST_F(RunDriver, NothingApplicableReplacesAnyEarlierResult) {
  AddMemory();
  S().NotOn("1");
  F().Status(kTestFailed);
  Run({"-Mmemory", "-Mstorage", "-E", "1"});
  EXPECT_EQ(cli->result, 23);
}

struct KeptResult {
  int before;
  int after;
};
class NoDevices : public RunDriver, public ::testing::WithParamInterface<KeptResult> {};

TEST_P(NoDevices, KeepTheResultOfARun) {
  storage->deviceList.clear();
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  cli->result = GetParam().before;
  cli->RunSelection();
  EXPECT_EQ(cli->result, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Results, NoDevices,
                         ::testing::Values(KeptResult{-1, 31}, KeptResult{0, 0}, KeptResult{21, 21},
                                           KeptResult{22, 22}, KeptResult{23, 23},
                                           KeptResult{25, 25}, KeptResult{24, 31},
                                           KeptResult{30, 31}, KeptResult{32, 31}));

TEST_F(RunDriver, APlanWithoutTestItemsStillGoesToTheService) {
  S().NotOn("1");
  Run({"-Mstorage", "-E"});
  ASSERT_EQ(service().runs.size(), 2U);
  EXPECT_EQ(service().runs.at(1).device, storage->deviceList.at(1));
  EXPECT_TRUE(service().runs.at(1).plan.empty());
}

// Statuses and times.

struct StatusCase {
  TestStatus status;
  const char* word;
  int result;
};
class Statuses : public RunDriver, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(Statuses, HaveTheirWordAndResult) {
  F().Status(GetParam().status);
  const std::string screen = Run({"-Mstorage", "-Qf", "0"});
  EXPECT_NE(screen.find(TestText("Funnel Test", GetParam().word)), std::string::npos) << screen;
  EXPECT_EQ(cli->result, GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Statuses,
    ::testing::Values(StatusCase{0, "Passed", 0}, StatusCase{1, "Failed", 21},
                      StatusCase{2, "Urecognized", -1}, StatusCase{3, "Not Applicable", 23},
                      StatusCase{4, "Canceled", 25}, StatusCase{5, "Warning", 22},
                      StatusCase{6, "Invalid", 24}, StatusCase{7, "None", -1}));

TEST_F(RunDriver, AnUnrecognizedStatusAloneExitsWithZero) {
  F().Status(kTestUnrecognized);
  Run({"-Mstorage", "-Qf", "0"});
  EXPECT_EQ(cli->ExitStatus(), 0);
}

struct FoldCase {
  int before;
  TestStatus status;
  int after;
};
class Fold : public RunDriver, public ::testing::WithParamInterface<FoldCase> {};

TEST_P(Fold, KeepsTheWorse) {
  Start();
  cli->result = GetParam().before;
  cli->FoldStatus(GetParam().status);
  EXPECT_EQ(cli->result, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Ranks, Fold,
    ::testing::Values(FoldCase{-1, 0, 0}, FoldCase{-1, 3, 23}, FoldCase{23, 3, 23},
                      FoldCase{23, 6, 24}, FoldCase{24, 3, 24}, FoldCase{24, 0, 0},
                      FoldCase{23, 0, 0}, FoldCase{0, 3, 0}, FoldCase{0, 6, 0}, FoldCase{0, 4, 25},
                      FoldCase{25, 0, 25}, FoldCase{25, 5, 22}, FoldCase{22, 4, 22},
                      FoldCase{22, 1, 21}, FoldCase{21, 5, 21}, FoldCase{21, 4, 21},
                      FoldCase{0, 2, 0}, FoldCase{-1, 2, -1}, FoldCase{0, 99, 0},
                      FoldCase{32, 0, 0}, FoldCase{30, 3, 23}, FoldCase{31, 6, 24}));

TEST_F(RunDriver, ATestsTimeIsThatBetweenItsStartAndItsEnd) {
  F().Body([](FakeTestRun&) {
    TheFakeHost().timer.Advance(3661999);
    return kTestPassed;
  });
  const std::string screen = Run({"-Mstorage", "-Qf", "0"});
  EXPECT_NE(screen.find(TestText("Funnel Test", "Passed", "1 hour 1 minute 1 second")),
            std::string::npos)
      << screen;
  EXPECT_NE(screen.find(DeviceEndText("DEVICE-CODE", "1 hour 1 minute 1 second")),
            std::string::npos);
}

TEST_F(RunDriver, OnlyTheFirstCanceledTestKeepsItsTime) {
  AddMemory();
  const auto cancel = [](FakeTestRun&) {
    TheFakeHost().timer.Advance(5000);
    return kTestCanceled;
  };
  F().Body(cancel);
  R().Body(cancel);
  TestOf(*static_cast<FakeModule*>(service().moduleList.at(1)), 0, 0).Body(cancel);
  const std::string screen = Run({"-Mstorage", "-Qf,r", "0", "-Mmemory"});
  EXPECT_NE(screen.find(TestText("Funnel Test", "Canceled", "5 seconds")), std::string::npos);
  EXPECT_NE(screen.find(TestText("Read Test", "Canceled", "0 seconds")), std::string::npos);
  EXPECT_NE(screen.find(TestText("March Test", "Canceled", "0 seconds")), std::string::npos)
      << "also in another module";
  EXPECT_EQ(cli->result, 25);
}

}  // namespace
