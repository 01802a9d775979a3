#include "service/core/executor.h"
#include <gmock/gmock.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <ctime>
#include <latch>
#include <mutex>
#include <thread>

#include "tests/support/executor_fixture.h"

namespace orvan::core {
namespace {

using testing::ExecutorTest;
using testing::MakeDiagnostic;
using testing::MakeTest;
using testing::Passes;
using Calls = std::vector<std::string>;

// Waits for stop, and for nothing else.
sdk::Verdict WaitForStop(sdk::TestContext& context) {
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  wake.wait(lock, context.StopToken(), [] { return false; });
  return sdk::Verdict::Canceled();
}

TEST_F(ExecutorTest, MakesTheCallsInTheirOrder) {
  plain->diagnostics = {MakeDiagnostic("Q", 1,
                                       {MakeTest("a", 1,
                                                 [](sdk::TestContext& context) {
                                                   context.Report(10);
                                                   context.Report(50, "HALF");
                                                   return sdk::Verdict::Passed();
                                                 }),
                                        MakeTest("b", 2, Passes())}),
                        MakeDiagnostic("E", 2, {MakeTest("c", 3, Passes())})};
  Start();
  Run();
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "diagnostic Q", "test a", "report a 10 ",
                               "report a 50 HALF", "test end a 0", "test b", "test end b 0",
                               "diagnostic end", "diagnostic E", "test c", "test end c 0",
                               "diagnostic end", "device end 0 5.0.0.0-PASSED-7", "suite end"}));
}

TEST_F(ExecutorTest, ARefusedItemIsPassedOverWithoutItsEnd) {
  plain->diagnostics = {
      MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes()), MakeTest("b", 2, Passes())}),
      MakeDiagnostic("E", 2, {MakeTest("c", 3, Passes())})};
  list.refused = {"test a", "diagnostic E"};
  Start();
  Run();
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "diagnostic Q", "test a", "test b",
                               "test end b 0", "diagnostic end", "diagnostic E",
                               "device end 0 5.0.0.0-PASSED-7", "suite end"}));
}

TEST_F(ExecutorTest, ARefusedDeviceEndsTheSuiteAndARefusedSuiteEndsAtOnce) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  list.refused = {"device"};
  Run();
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "suite end"}));
  list.calls.clear();
  list.refused = {"suite"};
  Run();
  EXPECT_EQ(list.calls, Calls{"suite"});
}

TEST_F(ExecutorTest, RunsWithoutListeners) {
  int runs = 0;
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, [&](sdk::TestContext& context) {
                                         context.Report(1, "X");
                                         ++runs;
                                         return sdk::Verdict::Warning("W");
                                       })})};
  Start();
  service->SetSuiteListener(nullptr);
  service->SetTestListener(nullptr);
  Run();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(FinalCode(), "5.0.0.0-WARNING-7");
}

TEST_F(ExecutorTest, AVerdictsMessageIsReportedAtTheLastPercentJustBeforeTheEnd) {
  EXPECT_EQ(RunOne([](sdk::TestContext& context) {
              context.Report(40);
              return sdk::Verdict::Failed("BAD_SECTOR", "data", "an error", "LBA 7");
            }),
            "test a;report a 40 ;report a 40 BAD_SECTOR;test end a 1;");
}

TEST_F(ExecutorTest, AMessageBeforeAnyReportStandsAtZero) {
  EXPECT_EQ(RunOne([](sdk::TestContext&) { return sdk::Verdict::NotApplicable("NO_SELF_TEST"); }),
            "test a;report a 0 NO_SELF_TEST;test end a 3;");
}

TEST_F(ExecutorTest, PercentsAreBounded) {
  EXPECT_EQ(RunOne([](sdk::TestContext& context) {
              context.Report(-5);
              context.Report(250);
              return sdk::Verdict::Passed();
            }),
            "test a;report a 0 ;report a 100 ;test end a 0;");
}

TEST_F(ExecutorTest, AnExceptionIsInvalid) {
  EXPECT_EQ(RunOne([](sdk::TestContext&) -> sdk::Verdict { throw std::runtime_error("secret"); }),
            "test a;report a 0 THE_TEST_ENDED_WITH_AN_INTERNAL_FAULT;test end a 6;");
}

TEST_F(ExecutorTest, AnExceptionOfAnyTypeIsInvalid) {
  EXPECT_EQ(RunOne([](sdk::TestContext&) -> sdk::Verdict { throw 7; }),
            "test a;report a 0 THE_TEST_ENDED_WITH_AN_INTERNAL_FAULT;test end a 6;");
}

TEST_F(ExecutorTest, ATestWithoutAFunctionIsInvalid) {
  EXPECT_EQ(RunOne(nullptr),
            "test a;report a 0 THE_TEST_ENDED_WITH_AN_INTERNAL_FAULT;test end a 6;");
}

TEST_F(ExecutorTest, AnyStatusPassesAsItIs) {
  EXPECT_EQ(RunOne([](sdk::TestContext&) {
              return sdk::Verdict{99, {}, {}, {}, {}};
            }),
            "test a;test end a 99;");
}

TEST_F(ExecutorTest, AnAbortEndsTheRunningTestAndCancelsTheLaterOnes) {
  std::latch running(1);
  bool laterRan = false;
  plain->diagnostics = {MakeDiagnostic("Q", 1,
                                       {MakeTest("a", 1, Passes()),
                                        MakeTest("b", 2,
                                                 [&](sdk::TestContext& context) {
                                                   running.count_down();
                                                   return WaitForStop(context);
                                                 }),
                                        MakeTest("c", 3, [&](sdk::TestContext&) {
                                          laterRan = true;
                                          return sdk::Verdict::Passed();
                                        })})};
  Start();
  std::thread runner([this] { Run(); });
  running.wait();
  service->AbortExecution(2, 0, 0);
  service->AbortExecution(2, 0, 0);
  runner.join();
  EXPECT_FALSE(laterRan);
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "diagnostic Q", "test a", "test end a 0",
                               "test b", "test end b 4", "test c", "test end c 4", "diagnostic end",
                               "device end 0 5.0.0.0-CANCELED-7", "suite end"}));
}

TEST_F(ExecutorTest, AnAbortHoldsForEveryLaterPlan) {
  bool ran = false;
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, [&](sdk::TestContext&) {
                                         ran = true;
                                         return sdk::Verdict::Passed();
                                       })})};
  Start();
  service->AbortExecution(15, 0, 0);
  Run();
  Run();
  EXPECT_FALSE(ran);
  EXPECT_EQ(std::count(list.calls.begin(), list.calls.end(), "test end a 4"), 2);
  EXPECT_EQ(FinalCode(), "5.0.0.0-CANCELED-7");
}

TEST_F(ExecutorTest, AnAbortFromATestsStartCallCancelsThatTest) {
  plain->diagnostics = {
      MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes()), MakeTest("b", 2, Passes())})};
  suite.onTestStart = [this](const std::string& name) {
    if (name == "b") service->AbortExecution(0, 0, 0);
  };
  Start();
  Run();
  EXPECT_EQ(CallsBetween("test a", "diagnostic end"), "test a;test end a 0;test b;test end b 4;");
}

TEST_F(ExecutorTest, AVerdictThatCameBackAfterTheAbortCountsAsItIs) {
  EXPECT_EQ(RunOne([this](sdk::TestContext& context) {
              service->AbortExecution(0, 0, 0);
              EXPECT_TRUE(context.StopToken().stop_requested());
              return sdk::Verdict::Passed();
            }),
            "test a;test end a 0;");
}

TEST_F(ExecutorTest, TheTestSeesItsDeviceAndItsParameters) {
  sdk::ParameterValues seen;
  std::string device;
  sdk::TestRecord record = MakeTest("a", 1, [&](sdk::TestContext& context) {
    seen = context.Parameters();
    device = context.TestedDevice()->Id();
    return sdk::Verdict::Passed();
  });
  sdk::ParameterSpec spec;
  spec.name = "blocks";
  spec.least = 1;
  spec.greatest = 8;
  record.parameters = {spec};
  plain->diagnostics = {MakeDiagnostic("Q", 1, {record})};
  Start();
  std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  std::vector<TestParameter> given;
  module->GetDiagnostics()->front()->Tests()->front()->GetParameters(given, module->GetDevice(1));
  given[0].value = "5";
  plan[0].tests[0].parameters = given;
  service->ExecuteDiagnostics(module, module->GetDevice(1), plan);
  EXPECT_EQ(seen, (sdk::ParameterValues{{"blocks", "5"}}));
  EXPECT_EQ(device, "1");
}

TEST_F(ExecutorTest, AWrongParameterIsInvalidAndTheTestDoesNotRun) {
  bool ran = false;
  sdk::TestRecord record = MakeTest("a", 1, [&](sdk::TestContext&) {
    ran = true;
    return sdk::Verdict::Passed();
  });
  sdk::ParameterSpec spec;
  spec.name = "blocks";
  spec.least = 1;
  spec.greatest = 8;
  record.parameters = {spec};
  plain->diagnostics = {MakeDiagnostic("Q", 1, {record})};
  Start();
  std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  TestParameter nine;
  nine.name = "Blocks";
  nine.value = "9";
  plan[0].tests[0].parameters = {nine};
  service->ExecuteDiagnostics(module, module->GetDevice(0), plan);
  EXPECT_FALSE(ran);
  EXPECT_EQ(CallsBetween("test a", "diagnostic end"),
            "test a;report a 0 THE_PARAMETER_BLOCKS_MUST_BE_A_NUMBER_FROM_1_TO_8;test end a 6;");
}

TEST_F(ExecutorTest, AScriptedTestRunsWithAnyParameterAndAnyPercent) {
  source->scripted = true;
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, [](sdk::TestContext& context) {
                                         context.Report(-1, "ODD");
                                         return sdk::Verdict::Passed();
                                       })})};
  Start();
  std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  TestParameter unknown;
  unknown.name = "x";
  unknown.type = kParameterUnknown;
  plan[0].tests[0].parameters = {unknown};
  service->ExecuteDiagnostics(module, module->GetDevice(0), plan);
  EXPECT_EQ(CallsBetween("test a", "diagnostic end"), "test a;report a -1 ODD;test end a 0;");
}

TEST_F(ExecutorTest, ATestThatDoesNotApplyToTheDeviceIsNotRun) {
  bool ran = false;
  sdk::TestRecord record = MakeTest("a", 1, [&](sdk::TestContext&) {
    ran = true;
    return sdk::Verdict::Passed();
  });
  record.appliesTo = [](const sdk::Device&) { return false; };
  plain->diagnostics = {MakeDiagnostic("Q", 1, {record})};
  Start();
  Run();
  service->ExecuteDiagnostics(module, nullptr, testing::WholePlan(*module));
  EXPECT_FALSE(ran);
  EXPECT_EQ(
      list.calls,
      (Calls{"suite", "device", "diagnostic Q", "test a",
             "report a 0 THE_TEST_DOES_NOT_APPLY_TO_THE_DEVICE", "test end a 3", "diagnostic end",
             "device end 0 5.0.0.0-NOT_APPLICABLE-7", "suite end", "suite", "device",
             "diagnostic Q", "test a", "report a 0 THE_TEST_NEEDS_A_DEVICE", "test end a 3",
             "diagnostic end", "device end null 5.0.0.0-NOT_APPLICABLE-7", "suite end"}));
}

TEST_F(ExecutorTest, EveryTestOfAnUntestableDeviceIsInvalidAndNoneRuns) {
  bool ran = false;
  plain->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    auto device = std::make_unique<testing::PlainDevice>("0");
    device->whyUntestable = "|BLIND";
    devices.push_back(std::move(device));
    return devices;
  };
  RunOne([&ran](sdk::TestContext&) {
    ran = true;
    return sdk::Verdict::Passed();
  });
  EXPECT_FALSE(ran);
  EXPECT_EQ(CallsBetween("test a", "diagnostic end"), "test a;report a 0 |BLIND;test end a 6;");
}

TEST_F(ExecutorTest, ThePseudoDeviceRunsWhatNeedsNoDevice) {
  bool null = false;
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, [&](sdk::TestContext& context) {
                                         null = context.TestedDevice() == nullptr;
                                         return sdk::Verdict::Passed();
                                       })})};
  Start();
  service->ExecuteDiagnostics(module, nullptr, testing::WholePlan(*module));
  EXPECT_TRUE(null);
  EXPECT_EQ(list.calls.at(5), "diagnostic end");
  EXPECT_EQ(list.calls.at(6), "device end null 5.0.0.0-PASSED-7");
}

TEST_F(ExecutorTest, PointersThatAreNotTheModulesAreNeverFollowed) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())}),
                        MakeDiagnostic("E", 2, {MakeTest("b", 2, Passes())})};
  Start();
  std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  plan[0].tests.insert(plan[0].tests.begin(), {nullptr, {}, {}});
  plan[0].tests.insert(plan[0].tests.begin(), {reinterpret_cast<DiagTest*>(16), {}, {}});
  plan[0].tests.push_back(plan[1].tests[0]);
  plan[1].diagnostic = reinterpret_cast<DiagDiagnostic*>(24);
  plan.push_back({nullptr, {}});
  service->ExecuteDiagnostics(module, module->GetDevice(0), plan);
  EXPECT_EQ(list.calls,
            (Calls{"suite", "device", "diagnostic Q", "test a", "test end a 0", "test b",
                   "report b 0 THE_TEST_IS_NO_PART_OF_THE_DIAGNOSTIC", "test end b 6",
                   "diagnostic end", "device end 0 5.0.0.0-PASSED-7", "suite end"}));
}

TEST_F(ExecutorTest, AnUnknownModuleOrDeviceEndsTheSuiteAtOnce) {
  plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, Passes())})};
  Start();
  const std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  service->ExecuteDiagnostics(reinterpret_cast<DiagModule*>(8), nullptr, plan);
  service->ExecuteDiagnostics(nullptr, nullptr, plan);
  service->ExecuteDiagnostics(module, reinterpret_cast<DiagDevice*>(8), plan);
  EXPECT_EQ(list.calls, (Calls{"suite", "suite end", "suite", "suite end", "suite", "suite end"}));
  EXPECT_EQ(FinalCode(), "5.0.0.0-INVALID-7");
}

TEST_F(ExecutorTest, APlanWithoutItemsStillBeginsAndEnds) {
  Start();
  service->ExecuteDiagnostics(module, module->GetDevice(0), {});
  EXPECT_EQ(list.calls, (Calls{"suite", "device", "device end 0 5.0.0.0-NONE-7", "suite end"}));
}

TEST_F(ExecutorTest, ADevicesOwnResultTextWins) {
  plain->scan = [](std::stop_token) {
    std::vector<std::unique_ptr<sdk::Device>> devices;
    auto device = std::make_unique<testing::PlainDevice>("0");
    device->resultText = "OWN";
    devices.push_back(std::move(device));
    return devices;
  };
  Start();
  service->ExecuteDiagnostics(module, module->GetDevice(0), {});
  EXPECT_EQ(list.calls.at(2), "device end 0 OWN");
}

// Processor time, so that a busy machine has no say; quadratic look-ups would miss it by far.
TEST_F(ExecutorTest, TenThousandTestsOfNoLengthTakeWellUnderASecond) {
  std::vector<sdk::TestRecord> tests;
  for (std::uint64_t identifier = 0; identifier < 10000; ++identifier) {
    tests.push_back(MakeTest("t", identifier, Passes()));
  }
  plain->diagnostics = {MakeDiagnostic("Q", 1, std::move(tests))};
  Start();
  const std::vector<DiagnosticRunItem> plan = testing::WholePlan(*module);
  const std::clock_t start = std::clock();
  service->ExecuteDiagnostics(module, module->GetDevice(0), plan);
  EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC);
  EXPECT_EQ(std::count(list.calls.begin(), list.calls.end(), "test end t 0"), 10000);
}

}  // namespace
TEST_F(ExecutorTest, ATestMayWriteIntoTheLogOfItsStep) {
  const testing::TemporaryFolder folder;
  logFolder = folder.Path();
  RunOne([](sdk::TestContext& context) {
    context.Log(sdk::LogLevel::kWarning, "the fan is loud");
    return sdk::Verdict::Passed();
  });
  const std::string line =
      R"("testStepArtifact":{"testStepId":"0","log":{"severity":"WARNING","message":"the fan is loud"}})";
  EXPECT_THAT(testing::LogLinesAfterStart(folder.Path()),
              ::testing::Contains(::testing::HasSubstr(line)));
}

TEST_F(ExecutorTest, ATestIsToldOfAnAbortWithoutASignalWhateverComesBehindIt) {
  sdk::StopReason why = sdk::StopReason::kNone;
  RunOne([&](sdk::TestContext& context) {
    service->AbortExecution(0, 0, 0);
    service->AbortExecution(15, 0, 0);
    why = context.WhyStop();
    return sdk::Verdict::Canceled();
  });
  EXPECT_EQ(why, sdk::StopReason::kAborted);
}

TEST_F(ExecutorTest, ATestIsToldWhyItStopsAndOfSystemEvents) {
  sdk::StopReason before = sdk::StopReason::kForced;
  sdk::StopReason after = sdk::StopReason::kNone;
  std::vector<std::uint32_t> events;
  RunOne([&](sdk::TestContext& context) {
    before = context.WhyStop();
    events.push_back(context.SystemEvents());
    service->NotifySystemEvent(4);
    service->NotifySystemEvent(1);
    events.push_back(context.SystemEvents());
    service->ClearSystemEvents();
    events.push_back(context.SystemEvents());
    service->AbortExecution(2, 0, 0);
    after = context.WhyStop();
    return sdk::Verdict::Canceled();
  });
  EXPECT_EQ(before, sdk::StopReason::kNone);
  EXPECT_EQ(after, sdk::StopReason::kTermination);
  EXPECT_EQ(events, (std::vector<std::uint32_t>{0, 5, 0}));
}

}  // namespace orvan::core
