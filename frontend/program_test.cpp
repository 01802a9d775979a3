#include "frontend/program.h"

#include <cerrno>
#include <clocale>

#include "boundary/orvan_service_errors.h"
#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

// The program from its first step to its exit status.
class Program : public FrontEndTest {
 protected:
  Program() { storage = &AddStorage(); }
  ~Program() override { std::setlocale(LC_ALL, "C"); }
  int Main(const Words& words) {
    argv = std::make_unique<Argv>(words);
    return RunProgram(argv->Count(), argv->Data(), capture);
  }

  FakeModule* storage;
};

TEST_F(Program, AnAccountThatCannotBeMadeEndsWithOne) {
  host().accountMissing = true;
  EXPECT_EQ(Main({"-h"}), 1);
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(host().appMutex.asked, 0);
}

TEST_F(Program, WithoutRightsItEndsWithThree) {
  host().account.privileged = false;
  EXPECT_EQ(Main({"-h"}), 3);
  EXPECT_EQ(Screen(), "Not Enough Privileges\n");
  EXPECT_EQ(host().accountReleases, 1);
  EXPECT_EQ(host().appMutex.asked, 0);
  EXPECT_TRUE(service().Calls().empty());
}

TEST_F(Program, AnInstanceLockThatCannotBeMadeEndsWithOne) {
  host().appMutexMissing = true;
  EXPECT_EQ(Main({"-h"}), 1);
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(host().accountReleases, 1);
}

TEST_F(Program, ASecondInstanceEndsWithFourAndLoadsNoService) {
  host().appMutex.alreadyRunning = true;
  EXPECT_EQ(Main({"-Mstorage"}), 4);
  EXPECT_EQ(Screen(), "A Tarvex Diagnostics Tool is already running\n");
  EXPECT_EQ(host().appMutexReleases, 1);
  EXPECT_TRUE(service().Calls().empty());
}

TEST_F(Program, ASuccessfulRunNeverGivesTheLockBack) {
  EXPECT_EQ(Main({"-h"}), 0);
  EXPECT_EQ(host().appMutex.asked, 1);
  EXPECT_EQ(host().appMutexReleases, 0);
  EXPECT_EQ(GetProcessState().instanceLock, &host().appMutex);
}

TEST_F(Program, ABackgroundInstanceWaitsASecondBeforeItAsksForTheLock) {
  host().appMutex.alreadyRunning = true;
  const Tick start = host().timer.Now();
  EXPECT_EQ(Main({"-Mstorage", "--obg-instance"}), 4);
  EXPECT_EQ(host().timer.Sleeps(), std::vector<std::uint32_t>{1000});
  EXPECT_EQ(host().appMutex.askedAt, start + 1000);
}

TEST_F(Program, OnlyTheExactMarkerMakesItWait) {
  host().appMutex.alreadyRunning = true;
  EXPECT_EQ(Main({"--obg-instance2", "--obg", "x--obg-instance"}), 4);
  EXPECT_TRUE(host().timer.Sleeps().empty());
}

TEST_F(Program, TheStepsComeInTheirOrder) {
  EXPECT_EQ(Main({"-h"}), 0);
  Words steps;
  for (const std::string& call : host().calls) {
    if (call != "GetSystemEvents") steps.push_back(call);  // once per process
  }
  ASSERT_GE(steps.size(), 5U);
  steps.resize(5);
  EXPECT_EQ(steps, (Words{"CreatUserAccountInstance", "get_app_mutex", "get_console",
                          "get_signal_handler", "get_module"}));
  EXPECT_EQ(host().events.rows.size(), 6U);
}

TEST_F(Program, ASecondStartInTheProcessDoesNotAskForTheEventsAgain) {
  Main({"-h"});
  optind = 0;
  host().eventsAsked = 0;
  Main({"-h"});
  EXPECT_EQ(host().eventsAsked, 0);
}

TEST_F(Program, EverythingIsGivenBackAtTheEnd) {
  EXPECT_EQ(Main({"-Mstorage"}), 0);
  EXPECT_EQ(FakeServiceInstances(), 0);
  EXPECT_TRUE(host().semaphores.empty());
  EXPECT_EQ(GetProcessState().cli, nullptr);
}

// A thread that is refused.

class ProgramWithoutThread : public Program, public ::testing::WithParamInterface<Words> {};

TEST_P(ProgramWithoutThread, EndsWithOneAndALine) {
  storage->AddTool("recover_bad_sectors", "RECOVERS", "recover");
  TestOf(*storage, 0, 0).Status(kTestFailed);
  host().threads.startResult = EAGAIN;
  testing::internal::CaptureStderr();
  EXPECT_EQ(Main(GetParam()), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "TarvexDiagnosticsCLI: cannot start the thread of the diagnostic service: Resource "
      "temporarily unavailable; nothing was done. Free memory or raise the limits of processes "
      "and threads, and try again\n");
  EXPECT_EQ(Screen(), "");
  EXPECT_TRUE(service().Calls().empty());
  EXPECT_TRUE(host().semaphores.empty());
  EXPECT_EQ(GetProcessState().cli, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Commands, ProgramWithoutThread,
                         ::testing::Values(Words{}, Words{"-h"}, Words{"-v"}, Words{"-A"},
                                           Words{"-Mstorage", "-Qf", "0"}, Words{"-U"},
                                           Words{"-Mstorage", "-Trecover"}, Words{"-r"},
                                           Words{"-b", "-Mstorage"}, Words{"--HDK", "-Mstorage"},
                                           Words{"-Z"}, Words{"-oa", "--obg-instance"}));

// The courses.

TEST_F(Program, NoArgumentsShowTheHelp) {
  EXPECT_EQ(Main({}), 0);
  EXPECT_EQ(Screen(), kPlainBanner + HelpText("storage"));
}

TEST_F(Program, InformationRunsNothing) {
  EXPECT_EQ(Main({"-Mstorage", "-L"}), 0);
  EXPECT_TRUE(service().runs.empty());
}

TEST_F(Program, ADiagnosticRunEndsWithItsResult) {
  TestOf(*storage, 0, 0).Status(kTestFailed);
  EXPECT_EQ(Main({"-Mstorage", "-Qf", "0"}), 21);
}

TEST_F(Program, RunAllEndsWithItsResult) {
  TestOf(*storage, 0, 0).Status(kTestWarning);
  EXPECT_EQ(Main({"-U"}), 22);
}

TEST_F(Program, AToolEndsWithZero) {
  storage->AddTool("recover_bad_sectors", "RECOVERS", "recover");
  EXPECT_EQ(Main({"-Mstorage", "-Trecover"}), 0);
  EXPECT_TRUE(service().runs.empty());
}

TEST_F(Program, NothingRunsWithoutACourse) {
  EXPECT_EQ(Main({"-W"}), 0);
  EXPECT_EQ(Screen(), kAbortBanner);
}

TEST_F(Program, AFatalErrorEndsWithZeroAfterTheHelp) {
  EXPECT_EQ(Main({"-Mstorage", "-Qf,,r"}), 0);
  EXPECT_EQ(Screen(), kAbortBanner + FatalText("empty test") + HelpText("storage"));
}

struct StatusCase {
  Words words;
  int status;
};
class ParsedStatus : public Program, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(ParsedStatus, IsTheExitStatus) {
  EXPECT_EQ(Main(GetParam().words), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Rows, ParsedStatus,
                         ::testing::Values(StatusCase{{"-Z"}, 5},
                                           StatusCase{{"-Mstorage", "-o/dev/null/a"}, 6},
                                           StatusCase{{"-Mstorage", "-oa"}, 0},
                                           StatusCase{{"-Mnosuch"}, 30},
                                           StatusCase{{"-Mstorage", "-Tnosuch"}, 34},
                                           StatusCase{{"-Mstorage", "9"}, 31}));

TEST_F(Program, ADiagnosticThatTheModuleDoesNotHaveEndsWith32) {
  AddMemory();
  EXPECT_EQ(Main({"-Mstorage", "-K"}), 32);
}

TEST_F(Program, AnInvalidAppKeyEndsTheRunWithTheResultAsItStands) {
  service().beginThrowsInvalidAppKey = true;
  EXPECT_EQ(Main({"-Mstorage"}), 0);
  EXPECT_TRUE(service().runs.empty());
  EXPECT_EQ(FakeServiceInstances(), 0);
}

TEST_F(Program, AnInvalidAppKeyEndsRunAllToo) {
  service().beginThrowsInvalidAppKey = true;
  EXPECT_EQ(Main({"-U"}), 0);
  EXPECT_TRUE(service().runs.empty());
}

// The report of a background run.

TEST_F(Program, ABackgroundInstanceClosesItsReportWithTheStatus) {
  TestOf(*storage, 0, 0).Status(kTestFailed);
  EXPECT_EQ(Main({"-Mstorage", "-Qf", "0", "-o", folder + "/a", "--obg-instance"}), 21);
  const std::string report = ReadFile(folder + "/a");
  const std::string closing = "\nCLI Execution status: 21";
  ASSERT_GE(report.size(), closing.size());
  EXPECT_EQ(report.substr(report.size() - closing.size()), closing) << report;
  EXPECT_EQ(report.find(kPlainBanner), 0U);
  EXPECT_EQ(Screen(), "") << "the console stays empty";
}

TEST_F(Program, WithoutAResultTheReportSaysMinusOneAndTheStatusIsZero) {
  EXPECT_EQ(Main({"-o" + folder + "/a", "--obg-instance"}), 0);
  EXPECT_EQ(ReadFile(folder + "/a"), kPlainBanner + "\nCLI Execution status: -1");
}

TEST_F(Program, AReportWithoutTheBackgroundHasNoStatus) {
  EXPECT_EQ(Main({"-o" + folder + "/a", "-v"}), 0);
  EXPECT_EQ(ReadFile(folder + "/a").find("Execution status"), std::string::npos);
}

TEST_F(Program, AnInvalidAppKeyLeavesTheReportWithoutStatus) {
  service().beginThrowsInvalidAppKey = true;
  EXPECT_EQ(Main({"-Mstorage", "-o", folder + "/a", "--obg-instance"}), 0);
  EXPECT_EQ(ReadFile(folder + "/a").find("Execution status"), std::string::npos);
}

TEST_F(Program, ABackgroundInstanceWithoutAReportIsSilent) {
  EXPECT_EQ(Main({"-Mstorage", "--obg-instance"}), 0);
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(service().runs.size(), 2U);
}

}  // namespace
