#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "service/remote/remote_device.h"
#include "service/remote/remote_test_support.h"
#include "tests/support/test_folder.h"

namespace orvan::remote {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::StopOnce;
using testing::TestedContext;
using namespace std::chrono_literals;

class RemoteModuleTest : public testing::RemoteModuleTest {};

bool IsZombie(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  return text.find(") Z ") != std::string::npos;
}

// The one child of this process that lives, whichever thread has started it; 0: none.
pid_t Child() {
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream children(thread.path() / "children");
    for (pid_t child = 0; children >> child;) {
      if (!IsZombie(child)) return child;
    }
  }
  return 0;
}

const std::string kInvalid = std::to_string(kTestInvalid);

TEST_F(RemoteModuleTest, ItsTablesAreTheModulesOwnAndNoProcessIsStartedForThem) {
  EXPECT_EQ(Module().Name(), "Selftest");
  EXPECT_EQ(Module().Diagnostics().at(1).option, "B");
  EXPECT_EQ(Module().Tools().at(0).hint, "recover");
  EXPECT_EQ(Child(), 0);
  Scan();
  EXPECT_GT(Child(), 0);
}

TEST_F(RemoteModuleTest, DevicesAreThoseThatTheWorkerFinds) {
  settings["devices"] = "3";
  ASSERT_EQ(Scan().size(), 3U);
  EXPECT_EQ(Scan()[2]->Id(), "2");
  EXPECT_EQ(Scan()[2]->UniqueId(), "part-2");
  EXPECT_EQ(Scan()[2]->Information().name, "Part part-2");
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteModuleTest, ADeviceIsFoundAgainByItsUniqueIdWhateverItsId) {
  const TestFolder folder;
  settings["marker"] = folder / "marker";
  const auto& devices = Scan();
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
  EXPECT_THAT(Run("exit", devices[0].get()).message, HasSubstr("STATUS_3"));
  std::ofstream(folder / "marker").put('x');
  // The new worker finds the second one alone, under the first one's id.
  EXPECT_EQ(Shown(Run("pass", devices[0].get())), kInvalid + " |THE_DEVICE_WAS_NOT_FOUND_AGAIN");
  EXPECT_EQ(Run("pass", devices[1].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, DevicesThatAreAlikeInAllTheirNamesAreStillTwo) {
  settings["ids"] = "same";
  settings["unique-ids"] = "same";
  const auto& devices = Scan();
  EXPECT_EQ(Run("device", devices[0].get()).message, "|DEVICE_Part part-0");
  EXPECT_EQ(Run("device", devices[1].get()).message, "|DEVICE_Part part-1");
  EXPECT_EQ(Run("writing", devices[1].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, ADeviceWithoutAUniqueIdIsNeverFoundAgain) {
  for (const char* id : {"none", "throw"}) {
    settings["unique-ids"] = id;
    settings["devices"] = "1";
    Forget();
    const auto& devices = Scan();
    EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed) << id;
    Run("exit", devices[0].get());
    EXPECT_EQ(Shown(Run("pass", devices[0].get())), kInvalid + " |THE_DEVICE_WAS_NOT_FOUND_AGAIN")
        << id;
  }
}

TEST_F(RemoteModuleTest, DevicesOfOneUniqueIdAreFoundAgainWhileTheyAreAsManyAndNeverToWrite) {
  const TestFolder folder;
  settings["marker"] = folder / "marker";
  settings["unique-ids"] = "same";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  EXPECT_EQ(Run("device", devices[1].get()).message, "|DEVICE_Part part-1");
  EXPECT_EQ(Shown(Run("writing", devices[1].get())), kInvalid + " |THE_DEVICE_WAS_NOT_FOUND_AGAIN");
  Run("exit", devices[0].get());
  std::ofstream(folder / "marker").put('x');
  EXPECT_EQ(Shown(Run("pass", devices[0].get())), kInvalid + " |THE_DEVICE_WAS_NOT_FOUND_AGAIN");
}

TEST_F(RemoteModuleTest, ADeviceOfItsOwnUniqueIdIsFoundAgainToWrite) {
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  EXPECT_EQ(Run("writing", devices[1].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, ATestWithoutADeviceNeedsNoScan) {
  settings["scan"] = "throw";
  EXPECT_EQ(Run("pass", nullptr).status, kTestPassed);
}

TEST_F(RemoteModuleTest, ATestThatIsToStopWhileItsDeviceIsFoundAgainNeverBegins) {
  const TestFolder folder;
  settings["waiting"] = folder / "waiting";
  settings["begun"] = folder / "begun";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  std::filesystem::remove(folder / "begun");
  std::ofstream(folder / "waiting").put('x');
  TestedContext context(devices[0].get());
  const std::jthread stopper = StopOnce(folder / "begun", context.stop);
  EXPECT_EQ(Run("pass", context).status, kTestCanceled);
}

TEST_F(RemoteModuleTest, AValueThatIsTooLongIsNeverGivenInPart) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.parameters["number"] = std::string(2U << 20, '7');
  EXPECT_EQ(Shown(Run("parameters", context)),
            kInvalid + " |THE_TEST_DID_NOT_BEGIN:_IT_WAS_GIVEN_MORE_THAN_A_MESSAGE_MAY_HOLD");
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteModuleTest, EventsAndReasonsReachTheTest) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.onReport = [&] { context.events = 5; };
  EXPECT_EQ(Run("events", context).message, "|EVENTS_5");
  TestedContext waiting(devices[0].get());
  waiting.why = sdk::StopReason::kTermination;
  waiting.onReport = [&] { waiting.stop.request_stop(); };
  EXPECT_EQ(Run("wait", waiting).status, kTestCanceled);
  EXPECT_THAT(waiting.log, ElementsAre("stopped for reason 3"));
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteModuleTest, OneThatIsStoppedByTheSystemIsInvalidAfterItsLimit) {
  const auto& devices = Scan();
  EXPECT_EQ(Shown(Run("stop", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_WAS_STOPPED_OR_GOT_NO_PROCESSOR_FOR_TOO_LONG");
  EXPECT_THAT(journal.lines,
              ElementsAre("error: test stop on device 0: the worker of module Selftest was stopped "
                          "or got no processor for too long"));
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, OneThatIsInTheKernelAtEachLookIsLeftBehind) {
  const auto& devices = Scan();
  EXPECT_EQ(Shown(Run("hang-in-kernel", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_HANGS_IN_THE_SYSTEM_AND_WAS_LEFT_BEHIND");
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, OneThatIsBusyOrSleepsIsNeither) {
  const auto& devices = Scan();
  for (const char* deed : {"spin", "hang"}) {
    TestedContext context(devices[0].get());
    std::jthread stopper([&](const std::stop_token& over) {
      for (int i = 0; i < 25 && !over.stop_requested(); ++i) std::this_thread::sleep_for(100ms);
      context.stop.request_stop();
    });
    limits.testGrace = 100ms;
    EXPECT_EQ(Run(deed, context).status, kTestCanceled) << deed;
    EXPECT_THAT(journal.lines.back(), HasSubstr("did not end in time when it was to stop"));
  }
}

TEST_F(RemoteModuleTest, EventsThatComeRightBehindTheOrderReachTheTest) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.events = 5;
  context.eventsBegin = 1;
  std::jthread stopper([&](const std::stop_token& over) {
    for (int i = 0; i < 50 && !over.stop_requested(); ++i) std::this_thread::sleep_for(100ms);
    context.stop.request_stop();
  });
  EXPECT_EQ(Run("events", context).message, "|EVENTS_5");
}

TEST_F(RemoteModuleTest, AChildThatKeepsTheConnectionHidesNoEnd) {
  const auto& devices = Scan();
  EXPECT_EQ(Shown(Run("leave-child-and-exit", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_ENDED_BY_ITSELF,_WITH_STATUS_3");
  EXPECT_THAT(Run("leave-child-and-crash", devices[0].get()).message, HasSubstr("SIGNAL_11"));
  EXPECT_THAT(journal.lines.back(), HasSubstr("; backtrace: "));
}

TEST_F(RemoteModuleTest, OneThatSaidItsLastWordsIsGivenASecondToEnd) {
  const auto& devices = Scan();
  limits.stallLimit = limits.kernelLimit = 1h;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Shown(Run("say-last-words", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_TOOK_1000_|MI|B_OF_MEMORY,_WITH_A_LIMIT_OF_528_|MI|B");
  EXPECT_EQ(Run("end-thread", devices[0].get()).status, kTestInvalid);
  EXPECT_THAT(journal.lines.back(), HasSubstr("ended, and nobody can tell how"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, ASignOfLifeThatNobodyAskedForIsNoAnswer) {
  const auto& devices = Scan();
  EXPECT_EQ(Shown(Run("pong", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_SAID_WHAT_IS_NO_ANSWER");
}

TEST_F(RemoteModuleTest, WhatATestHasForTheLogHasABound) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  EXPECT_EQ(Run("log-without-end", context).status, kTestPassed);
  // Of half a mebibyte and the entry's own bytes 31 fit into 16 MiB.
  ASSERT_EQ(context.log.size(), 32U);
  EXPECT_EQ(context.log[30].size(), 512U << 10);
  EXPECT_EQ(context.log[31], "The rest of what the test has for the log is left out");
}

TEST_F(RemoteModuleTest, AMeasurementHasSixteenLimitsAtMost) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  EXPECT_EQ(Run("measure-against-much", context).status, kTestPassed);
  ASSERT_EQ(context.measurements.size(), 1U);
  EXPECT_EQ(context.measurements[0].limits.size(), 16U);
}

TEST_F(RemoteModuleTest, ASeriesHas256PointsAtMost) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  EXPECT_EQ(Run("measure-long-series", context).status, kTestPassed);
  ASSERT_EQ(context.series.size(), 1U);
  EXPECT_EQ(context.series[0].name, "long");
  ASSERT_EQ(context.series[0].points.size(), 256U);
  EXPECT_EQ(context.series[0].points[255].value, 255);
}

TEST_F(RemoteModuleTest, WhatSeriesHoldCountsAsWhatATestHasForTheLog) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  EXPECT_EQ(Run("flood-series", context).status, kTestPassed);
  // 16 MiB in entries of 256 bytes, 257 of each series: the beginning and its points.
  EXPECT_EQ(context.series.size(), (16U << 20) / (256 * 257));
}

TEST_F(RemoteModuleTest, AnOrderThatCannotGoOutIsToldInTheSystemsWords) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  // More than goes through the connection itself.
  context.parameters["number"] = std::string(100U << 10, '1');
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const sdk::Verdict verdict = Run("parameters", context);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(Shown(verdict), kInvalid +
                                " |THE_TEST'S_WORKER_COULD_NOT_BE_TOLD_WHAT_TO_DO:_|TOO_MANY_OPEN_"
                                "FILES");
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
}

TEST_F(RemoteModuleTest, ACallbackOfTheModuleThatCrashesIsToldWithItsPlace) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.onReport = [&] { context.stop.request_stop(); };
  EXPECT_THAT(Run("crash-at-stop", context).message, HasSubstr("SIGNAL_11"));
  EXPECT_THAT(journal.lines.back(), HasSubstr("; backtrace: selftest.so+"));
}

TEST_F(RemoteModuleTest, WhoeverThrowsWhileItIsToldSomethingLeavesNoBusyWorker) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.onReport = [] { throw std::bad_alloc(); };
  EXPECT_THROW(Run("hang", context), std::bad_alloc);
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteModuleTest, TheGraceOfAStopRunsWhileWeAreBusyWithWhatIsSaid) {
  limits.testGrace = 1500ms;
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.onReport = [&] {
    if (context.stop.stop_requested()) std::this_thread::sleep_for(1s);
    context.stop.request_stop();
  };
  EXPECT_EQ(Run("flood-for-ever", context).status, kTestCanceled);
  // One to set the stop, and no more than two within the grace.
  EXPECT_LE(context.reports.size(), 3U);
}

TEST_F(RemoteModuleTest, AWorkerThatEndedBetweenTwoTestsIsReplacedBeforeTheNext) {
  const auto& devices = Scan();
  const pid_t worker = Child();
  ASSERT_GT(worker, 0);
  ASSERT_EQ(kill(worker, SIGKILL), 0);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(worker), &information, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
  EXPECT_THAT(journal.lines, ElementsAre("error: between two orders: the worker of module Selftest "
                                         "was ended by signal 9 (SIGKILL)"));
}

TEST_F(RemoteModuleTest, AWorkerThatIsNotThereIsToldOfEachTest) {
  WorkerKeeper keeper("/nowhere/orvan-worker");
  RemoteModule module(RemoteModule::ModulePointer(new selftest::SelftestModule({}),
                                                  [](sdk::Module* ended) { delete ended; }),
                      WorkerPlan{}, keeper, journal);
  TestedContext context(nullptr);
  EXPECT_EQ(Shown(module.Diagnostics()[0].tests[0].run(context)),
            kInvalid +
                " |THE_TEST_DID_NOT_BEGIN:_ITS_WORKER_COULD_NOT_BE_STARTED:_|NO_SUCH_FILE_"
                "OR_DIRECTORY");
  EXPECT_THROW(sdk::testing::DevicesOf(module), std::runtime_error);
}

}  // namespace
}  // namespace orvan::remote
