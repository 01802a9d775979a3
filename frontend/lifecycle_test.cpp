#include <sys/wait.h>
#include <unistd.h>

#include <ctime>

#include "boundary/orvan_service_errors.h"
#include "frontend/system_event_handlers.h"
#include "tests/fakes/front_end_test.h"
#include "views/cli_stdio_file.h"
#include "views/cli_stdio_null.h"
#include "views/hdk_io.h"

namespace {

using Words = std::vector<std::string>;

class Lifecycle : public FrontEndTest {
 protected:
  Lifecycle() { storage = &AddStorage(); }
  Words Notifications() {
    Words notifications;
    for (const std::string& call : service().Calls()) {
      if (call.starts_with("NotifySystemEvent")) notifications.push_back(call);
    }
    return notifications;
  }

  FakeModule* storage;
};

// Construction and teardown.

TEST_F(Lifecycle, TheConstructorSetsUpEverything) {
  const std::int64_t before = std::time(nullptr);
  Start();
  EXPECT_EQ(cli->flags, 0U);
  EXPECT_EQ(cli->result, -1);
  EXPECT_FALSE(cli->bootable);
  EXPECT_EQ(cli->view, nullptr);
  EXPECT_EQ(cli->modules, nullptr);
  EXPECT_GE(cli->groupId, before);
  EXPECT_LE(cli->groupId, std::time(nullptr));
  EXPECT_EQ(cli->lastModuleArgIndex, 0);
  EXPECT_EQ(cli->optionsSeen, 0);
  EXPECT_FALSE(cli->threadStatus->done);
  EXPECT_EQ(cli->ApplicationVersion(), "5.0.0.0");
  EXPECT_EQ(cli->ApplicationName(), "Tarvex Diagnostics - CLI 5.0.0.0");
  EXPECT_EQ(cli->systemEvents, &host().events);
  EXPECT_EQ(cli->timer, &host().timer);
  EXPECT_EQ(cli->numberHandler, &host().numbers);
  EXPECT_EQ(cli->timeHandler, &host().times);
  EXPECT_EQ(cli->signalHandler, &host().signals);
  EXPECT_NE(cli->stringHandler, nullptr);
  EXPECT_EQ(host().signals.handlers, std::vector<HostSignalCallback>{&OnSignal});
  EXPECT_EQ(GetProcessState().cli, cli.get());
  EXPECT_EQ(GetProcessState().service, &service());
  EXPECT_EQ(host().loader.loads, Words{folder + "\\storelib.dll"});
  auto* semaphore = static_cast<FakeSemaphore*>(GetProcessState().semaphore);
  EXPECT_EQ(semaphore->Initial(), 0);
  EXPECT_EQ(semaphore->Maximum(), 1);
}

TEST_F(Lifecycle, TheDestructorGivesEverythingBack) {
  Run({"-Mstorage"});
  Stop();
  EXPECT_EQ(host().signals.removed, 1);
  EXPECT_TRUE(host().signals.handlers.empty());
  EXPECT_TRUE(host().semaphores.empty());
  EXPECT_EQ(host().threads.Joins(), 1);
  EXPECT_EQ(FakeServiceInstances(), 0);
  EXPECT_EQ(host().consoleUses, host().consoleReleases);
  EXPECT_EQ(GetProcessState().cli, nullptr);
  EXPECT_EQ(GetProcessState().service, nullptr);
}

TEST_F(Lifecycle, TheDestructorFreesWhatAnEarlyStopOfARunLeft) {
  storage->deviceList.clear();
  Run({"-Mstorage"});
  EXPECT_NE(cli->eventQueue, nullptr) << "an early stop leaves the objects in place";
  Stop();
  EXPECT_TRUE(host().semaphores.empty());
}

TEST_F(Lifecycle, ATerminationRequestWhileTheModulesLoadReachesTheServiceOnceItIsThere) {
  service().onLoad = [] { EXPECT_TRUE(OnSignal(2, 0, 0)); };
  Start();
  EXPECT_EQ(service().CountCalls("AbortExecution"), 1);
  EXPECT_TRUE(OnSignal(2, 0, 0));
  EXPECT_EQ(service().CountCalls("AbortExecution"), 1) << "it is passed on once";
}

TEST_F(Lifecycle, EventsThatHappenedBeforeAreReplayed) {
  GetProcessState().systemEventWord = 1 | 8 | 32;
  Start();
  EXPECT_EQ(Notifications(),
            (Words{"NotifySystemEvent(8)", "NotifySystemEvent(0)", "NotifySystemEvent(32)",
                   "NotifySystemEvent(0)", "NotifySystemEvent(1)", "NotifySystemEvent(0)"}));
}

TEST_F(Lifecycle, AllReplayedBitsComeInTheirOrder) {
  GetProcessState().systemEventWord = 0xFFFFFFFF;
  Start();
  EXPECT_EQ(Notifications(),
            (Words{"NotifySystemEvent(8)", "NotifySystemEvent(16)", "NotifySystemEvent(32)",
                   "NotifySystemEvent(128)", "NotifySystemEvent(1)", "NotifySystemEvent(256)"}));
}

// Results.

TEST_F(Lifecycle, TheExitStatusOfNoResultIsZero) {
  Start();
  EXPECT_EQ(cli->ExitStatus(), 0);
  EXPECT_EQ(cli->result, 0);
  cli->result = 22;
  EXPECT_EQ(cli->ExitStatus(), 22);
}

struct MergeCase {
  int before;
  int code;
  int after;
};
class Merge : public Lifecycle, public ::testing::WithParamInterface<MergeCase> {};

TEST_P(Merge, KeepsTheResultOfAFinishedTest) {
  Start();
  cli->result = GetParam().before;
  cli->MergeResult(GetParam().code);
  EXPECT_EQ(cli->result, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Ranks, Merge,
    ::testing::Values(MergeCase{0, 30, 0}, MergeCase{21, 30, 21}, MergeCase{22, 30, 22},
                      MergeCase{25, 30, 25}, MergeCase{23, 30, 30}, MergeCase{23, 31, 23},
                      MergeCase{23, 32, 23}, MergeCase{23, 33, 23}, MergeCase{23, 34, 23},
                      MergeCase{0, 31, 0}, MergeCase{0, 32, 0}, MergeCase{0, 5, 0},
                      MergeCase{21, 5, 21}, MergeCase{-1, 30, 30}, MergeCase{-1, 5, 5},
                      MergeCase{-1, 34, 34}, MergeCase{24, 34, 34}, MergeCase{24, 5, 5},
                      MergeCase{30, 34, 34}, MergeCase{30, 5, 5}, MergeCase{31, 32, 32},
                      MergeCase{6, 0, 0}, MergeCase{21, -1, -1}, MergeCase{0, -1, -1}));

// Views.

class Views : public Lifecycle {
 protected:
  template <typename View>
  bool IsView() {
    return dynamic_cast<View*>(cli->view.get()) != nullptr;
  }
  int Create(std::uint32_t flags, const std::string& file = {}) {
    Start();
    cli->flags = flags;
    cli->outputFile = file;
    return cli->CreateView();
  }
};

TEST_F(Views, TheConsoleIsTheViewOfAnOrdinaryRun) {
  EXPECT_EQ(Create(0), 0);
  EXPECT_EQ(typeid(*cli->view), typeid(OrvanStdio));
  host().console.Press(27);
  EXPECT_TRUE(cli->view->IsAbortRequested()) << "the keyboard is read";
}

TEST_F(Views, ASupervisorOutranksAFileAndTheBackground) {
  EXPECT_EQ(Create(CLI_FLAG_SUPERVISED | CLI_FLAG_OUTPUT_FILE | CLI_FLAG_BACKGROUND_INSTANCE,
                   folder + "/a"),
            0);
  EXPECT_TRUE(IsView<HDKio>());
  EXPECT_FALSE(std::filesystem::exists(folder + "/a"));
}

TEST_F(Views, AFileIsOpened) {
  EXPECT_EQ(Create(CLI_FLAG_OUTPUT_FILE, folder + "/a"), 0);
  EXPECT_TRUE(IsView<CliStdioFile>());
  EXPECT_TRUE(std::filesystem::exists(folder + "/a"));
}

TEST_F(Views, AFileThatCannotBeOpenedFallsBackToTheConsole) {
  EXPECT_EQ(Create(CLI_FLAG_OUTPUT_FILE, "/dev/null/a"), 173);
  EXPECT_EQ(typeid(*cli->view), typeid(OrvanStdio));
}

TEST_F(Views, AFileInTheBackgroundIsQuiet) {
  EXPECT_EQ(Create(CLI_FLAG_OUTPUT_FILE | CLI_FLAG_BACKGROUND_INSTANCE, folder + "/a"), 0);
  EXPECT_TRUE(IsView<CliStdioFile>());
  EXPECT_FALSE(cli->view->IsAbortRequested());
  EXPECT_EQ(host().console.Reads(), 0);
}

TEST_F(Views, AFileThatCannotBeOpenedInTheBackgroundKeepsItsView) {
  EXPECT_EQ(Create(CLI_FLAG_OUTPUT_FILE | CLI_FLAG_BACKGROUND_INSTANCE, "/dev/null/a"), 1);
  EXPECT_TRUE(IsView<CliStdioFile>());
}

TEST_F(Views, TheBackgroundWithoutAFileIsSilent) {
  EXPECT_EQ(Create(CLI_FLAG_BACKGROUND_INSTANCE), 0);
  EXPECT_TRUE(IsView<CliStdioNull>());
  EXPECT_FALSE(cli->view->IsAbortRequested());
  EXPECT_EQ(host().console.Reads(), 0);
}

// Parsing as a whole.

TEST_F(Lifecycle, WithoutAServiceParsingEndsWithoutAWord) {
  Start();
  GetProcessState().service = nullptr;
  EXPECT_EQ(Parse({"-v"}), 1);
  EXPECT_EQ(Screen(), "");
  EXPECT_EQ(cli->ExitStatus(), 0);
}

TEST_F(Lifecycle, WithoutModulesTheProcessEndsWithAMessageAndStatusZero) {
  service().modulesMissing = true;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    static int writeEnd;
    static tarvex::ConsoleCapture* console;
    writeEnd = ends[1];
    console = &capture;
    std::atexit([] {
      const std::string text =
          console->Take() + std::to_string(FakeServiceInstances()) + " instances, " +
          std::to_string(TheFakeHost().consoleUses - TheFakeHost().consoleReleases) + " consoles";
      if (write(writeEnd, text.data(), text.size()) < 0) _exit(99);
    });
    Parse({"-v"});
    _exit(98);
  }
  close(ends[1]);
  std::string text(200, '\0');
  std::size_t size = 0;
  for (ssize_t got = 1; got > 0;) {
    got = read(ends[0], text.data() + size, text.size() - size);
    if (got > 0) size += static_cast<std::size_t>(got);
  }
  close(ends[0]);
  text.resize(size);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(text, "Cannot load module(s)\n0 instances, 0 consoles");
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

class PlainBanner : public Lifecycle, public ::testing::WithParamInterface<Words> {};

TEST_P(PlainBanner, IsShownWhereNothingCanBeAborted) {
  EXPECT_EQ(Parse(GetParam()), 0);
  EXPECT_EQ(Screen().find(kPlainBanner), 0U);
}

INSTANTIATE_TEST_SUITE_P(Lines, PlainBanner,
                         ::testing::Values(Words{}, Words{"-h"}, Words{"-v"}, Words{"-A"},
                                           Words{"-Mstorage", "-D"}, Words{"-Mstorage", "-L"},
                                           Words{"-Mstorage", "-R"}, Words{"-Mstorage", "-S"},
                                           Words{"-Mstorage", "-P"}, Words{"-Mstorage", "-V"},
                                           Words{"-Mstorage", "-e1"}, Words{"-r"}));

class AbortBanner : public Lifecycle, public ::testing::WithParamInterface<Words> {};

TEST_P(AbortBanner, IsShownForRuns) {
  EXPECT_EQ(Parse(GetParam()), 0);
  EXPECT_EQ(Screen(), kAbortBanner);
}

INSTANTIATE_TEST_SUITE_P(Lines, AbortBanner,
                         ::testing::Values(Words{"-Mstorage"}, Words{"-U"}, Words{"-W"},
                                           Words{"-Mstorage", "-Q", "0"}, Words{"-G5"}));

TEST_F(Lifecycle, AnOutputFileThatCannotBeOpenedGivesResultSix) {
  EXPECT_EQ(Parse({"-Mstorage", "-o/dev/null/a"}), 1);
  EXPECT_EQ(cli->result, 6);
  const std::string screen = Screen();
  EXPECT_NE(screen.find(kPlainBanner + "[Warning] Output redirection error: error opening file\n" +
                        HelpText("storage")),
            std::string::npos)
      << screen;
  EXPECT_EQ(cli->view, nullptr);
}

TEST_F(Lifecycle, AFatalErrorIsShownOnTheConsoleAndNotInTheFile) {
  ExpectFatal({"-o" + folder + "/a", "-Mstorage", "-D", "-Q"},
              "can not show information and perform diagnostic at the same time", -1, "storage");
  EXPECT_FALSE(HasAny(CLI_FLAG_OUTPUT_FILE));
  EXPECT_FALSE(std::filesystem::exists(folder + "/a"));
}

TEST_F(Lifecycle, ParsingAgainStartsWithClearFlags) {
  EXPECT_EQ(Parse({"-v"}), 0);
  optind = 0;
  EXPECT_EQ(Parse({"-Mstorage"}), 0);
  EXPECT_EQ(cli->flags, CLI_FLAG_DIAGNOSTIC);
}

// The closing line of a background run.

TEST_F(Lifecycle, TheExecutionStatusIsTheResultAsItStands) {
  Start();
  cli->WriteExecutionStatus();
  EXPECT_EQ(Screen(), "") << "without a view";
  cli->view = std::make_unique<OrvanStdio>(capture);
  cli->WriteExecutionStatus();
  EXPECT_EQ(Screen(), "\nCLI Execution status: -1");
  cli->result = 25;
  cli->WriteExecutionStatus();
  EXPECT_EQ(Screen(), "\nCLI Execution status: 25");
}

}  // namespace
