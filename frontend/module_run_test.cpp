#include <time.h>

#include <algorithm>
#include <chrono>

#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class EventLoop : public FrontEndTest {
 protected:
  EventLoop() { storage = &AddStorage(); }

  FakeTest& F() { return TestOf(*storage, 0, 0); }
  FakeTest& R() { return TestOf(*storage, 0, 1); }
  // Blocks a running test until the main thread has looked for the abort key `looks` times.
  static void AwaitLooks(int looks) {
    FakeConsole& console = TheFakeHost().console;
    console.AwaitReads(console.Reads() + looks);
  }
  // The lines of a supervised run that begin with that word.
  Words Lines(const std::string& screen, const std::string& word) {
    Words lines;
    std::istringstream text(screen);
    for (std::string line; std::getline(text, line);) {
      if (line.starts_with(word)) lines.push_back(line);
    }
    return lines;
  }

  FakeModule* storage;
};

// Progress and messages of a running test.

TEST_F(EventLoop, ProgressShowsPercentAndTimeWithEachLook) {
  F().Body([](FakeTestRun& run) {
    AwaitLooks(1);  // the percent is reset when the main thread takes the test's start
    // The time comes before the percent: without one a look shows nothing.
    TheFakeHost().timer.Advance(61000);
    run.Report(40);
    AwaitLooks(2);  // one whole look lies before the second
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  const std::string output = capture.Take();
  const std::size_t progress = output.find("   40% ");
  ASSERT_NE(progress, std::string::npos) << output;
  // Which sign of the spinner stands there depends on how long the devices were searched.
  EXPECT_EQ(output.substr(progress + 8, 20), " 1 minute 1 second \r");
}

TEST_F(EventLoop, AFinishedTestShowsItsLastPercent) {
  F().Body([](FakeTestRun& run) {
    AwaitLooks(1);
    run.Report(100);
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  const std::string output = capture.Take();
  EXPECT_NE(output.find("   100% * 0 seconds \r"), std::string::npos) << output;
}

TEST_F(EventLoop, ATestWithoutAPercentShowsNoProgress) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  EXPECT_EQ(capture.Take().find('%'), std::string::npos);
}

TEST_F(EventLoop, ThePercentOfATestDoesNotReachTheNext) {
  F().Body([](FakeTestRun& run) {
    AwaitLooks(1);
    run.Report(70);
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf,r", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  const std::string output = capture.Take();
  EXPECT_EQ(output.find('%', output.find("=> Read Test")), std::string::npos) << output;
}

TEST_F(EventLoop, AMessageIsShownOnALineOfItsOwn) {
  F().Body([](FakeTestRun& run) {
    run.Report(10, "INSERT_THE_|U|S|B_PLUG");
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  const std::string output = capture.Take();
  EXPECT_NE(output.find(std::string(79, ' ') + "\r   [Info] Insert the USB plug\n"),
            std::string::npos)
      << output;
}

TEST_F(EventLoop, AMessageIsShownOnce) {
  F().Body([](FakeTestRun& run) {
    run.Report(10, "HELLO");
    AwaitLooks(2);
    return kTestPassed;
  });
  const std::string screen = Run({"-Mstorage", "-Qf", "0"});
  const std::size_t first = screen.find("[Info] Hello");
  ASSERT_NE(first, std::string::npos) << screen;
  EXPECT_EQ(screen.find("[Info] Hello", first + 1), std::string::npos) << screen;
}

TEST_F(EventLoop, AnEmptyMessageChangesThePercentOnly) {
  F().Body([](FakeTestRun& run) {
    AwaitLooks(1);
    run.Report(10, "HELLO");
    run.Report(20);
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  capture.Take();
  cli->RunSelection();
  const std::string output = capture.Take();
  EXPECT_NE(output.find("[Info] Hello\n"), std::string::npos);
  EXPECT_NE(output.find("   20% "), std::string::npos) << output;
}

// Waiting without spinning.

TEST_F(EventLoop, ARunThatWaitsUsesAlmostNoProcessorTime) {
  const auto mainThreadTime = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  F().Body([](FakeTestRun&) {
    AwaitLooks(2);  // at least half a second lies between two looks
    return kTestPassed;
  });
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  const double before = mainThreadTime();
  cli->RunSelection();
  EXPECT_LT(mainThreadTime() - before, 0.25);
}

TEST_F(EventLoop, AFinishedTestIsSeenAtOnceAndNotAtTheNextLook) {
  for (int i = 0; i < 20; ++i) {
    FakeTest& quick = static_cast<FakeDiagnostic*>(storage->diagnosticList.at(1))
                          ->AddTest("T" + std::to_string(i), "t" + std::to_string(i), "long");
    quick.Status(kTestPassed);
  }
  EXPECT_EQ(Parse({"-Mstorage", "-E", "0"}), 0);
  const auto before = std::chrono::steady_clock::now();
  cli->RunSelection();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5))
      << "21 tests, each seen half a second late, would take ten";
}

// Percent of the suite, as a supervisor reads it.

TEST_F(EventLoop, ThreeTestsStepBy33AndEndAt100) {
  FakeDiagnostic& quick = static_cast<FakeDiagnostic&>(*storage->diagnosticList.at(0));
  quick.AddTest("THIRD_TEST", "t", "third");
  const std::string screen = Run({"--HDK", "-Mstorage", "-Q", "0"});
  EXPECT_EQ(Lines(screen, "PrgDiagSuite"), (Words{"PrgDiagSuite:::33", "PrgDiagSuite:::66",
                                                  "PrgDiagSuite:::99", "PrgDiagSuite:::100"}));
}

TEST_F(EventLoop, OneTestStepsBy100) {
  EXPECT_EQ(Lines(Run({"--HDK", "-Mstorage", "-E", "0"}), "PrgDiagSuite"),
            (Words{"PrgDiagSuite:::100", "PrgDiagSuite:::100"}));
}

TEST_F(EventLoop, ThePercentRestartsWithEachPlanAndCountsTheTestsOfAll) {
  EXPECT_EQ(Lines(Run({"--HDK", "-Mstorage", "-Q"}), "PrgDiagSuite"),
            (Words{"PrgDiagSuite:::25", "PrgDiagSuite:::50", "PrgDiagSuite:::100",
                   "PrgDiagSuite:::25", "PrgDiagSuite:::50", "PrgDiagSuite:::100"}));
}

TEST_F(EventLoop, MoreThan100TestsStayAtZeroUntilTheEnd) {
  FakeDiagnostic& quick = static_cast<FakeDiagnostic&>(*storage->diagnosticList.at(0));
  for (int i = 0; i < 99; ++i) quick.Share(F());
  const Words lines = Lines(Run({"--HDK", "-Mstorage", "-Q", "0"}), "PrgDiagSuite");
  ASSERT_EQ(lines.size(), 102U);
  EXPECT_EQ(lines.front(), "PrgDiagSuite:::0");
  EXPECT_EQ(lines[100], "PrgDiagSuite:::0");
  EXPECT_EQ(lines[101], "PrgDiagSuite:::100");
}

// Supervisor mode.

TEST_F(EventLoop, ASupervisedRunTellsTheServiceFirst) {
  Run({"--HDK", "-Mstorage", "-Qf", "0"});
  const Words calls = service().Calls();
  const auto enabled = std::find(calls.begin(), calls.end(), "EnableSupervisedRun");
  const auto scanned = std::find(calls.begin(), calls.end(), "ScanDevices(storage)");
  EXPECT_LT(enabled, scanned);
  EXPECT_EQ(service().CountCalls("EnableSupervisedRun"), 1);
}

TEST_F(EventLoop, AnUnsupervisedRunDoesNotTellTheService) {
  Run({"-Mstorage", "-Qf", "0"});
  EXPECT_FALSE(service().Called("EnableSupervisedRun"));
}

TEST_F(EventLoop, ASupervisedRunIsALineProtocol) {
  F().Status(kTestFailed);
  EXPECT_EQ(Run({"--HDK", "-Mstorage", "-Qf,r", "0"}),
            "BeginDiagSuite:::storage\n"
            "BeginDiag:::1.2.3\n"
            "EndDiag:::0|00000\n"
            "PrgDiagSuite:::50\n"
            "BeginDiag:::1.2.3\n"
            "EndDiag:::1|00000\n"
            "PrgDiagSuite:::100\n"
            "EndDiagSuite:::000|DEVICE-CODE|00000\n"
            "PrgDiagSuite:::100\n"
            "FinishExecutionBlock:::FINAL-CODE\n")
      << "no device information block, and the device's failed flag is told";
}

TEST_F(EventLoop, TheFailedFlagIsOfOneDevice) {
  F().Body([this](FakeTestRun& run) {
    return run.device == storage->deviceList.at(0) ? kTestFailed : kTestPassed;
  });
  EXPECT_EQ(
      Lines(Run({"--HDK", "-Mstorage", "-Qf"}), "EndDiagSuite"),
      (Words{"EndDiagSuite:::000|DEVICE-CODE|00000", "EndDiagSuite:::001|DEVICE-CODE|00000"}));
}

TEST_F(EventLoop, AModuleWithoutDevicesStillRunsForASupervisor) {
  storage->deviceList.clear();
  Run({"--HDK", "-Mstorage", "-Q"});
  ASSERT_EQ(service().runs.size(), 1U);
  EXPECT_EQ(service().runs.at(0).device, nullptr);
  EXPECT_TRUE(service().Called("SetNoDevicesMode(true)"));
  EXPECT_TRUE(service().Called("BeginFinalResult"));
  EXPECT_EQ(F().appliesAsked, 0);
  EXPECT_EQ(cli->result, 0) << "a passed test replaces the 31 of the empty module";
}

TEST_F(EventLoop, ThePseudoDeviceIsNamedOnAViewThatNamesDevices) {
  class SuiteNames : public OrvanStdio {
   public:
    SuiteNames(std::wostream& console, Words& names) : OrvanStdio(console), names_(names) {}
    ViewResult BeginSuite(std::string suiteName, std::string moduleName) override {
      names_.push_back(suiteName + "|" + moduleName);
      return 0;
    }

   private:
    Words& names_;
  };
  storage->deviceList.clear();
  EXPECT_EQ(Parse({"--HDK", "-Mstorage", "-Q"}), 0);
  Words names;
  cli->view = std::make_unique<SuiteNames>(capture, names);
  capture.Take();
  cli->RunSelection();
  EXPECT_EQ(names, Words{"NO_DEVICE_FOUND|storage"});
  EXPECT_NE(Screen().find("\n" + kRule + kRule), std::string::npos)
      << "nothing stands between the separators";
}

// System events wait for the end of a plan.

TEST_F(EventLoop, LogOffAndShutdownAreHeldWhileEachPlanRuns) {
  std::vector<std::uint32_t> during;
  F().Body([&during](FakeTestRun&) {
    during.push_back(GetProcessState().SystemEventHoldMask);
    return kTestPassed;
  });
  Run({"-Mstorage", "-Qf"});
  EXPECT_EQ(during, (std::vector<std::uint32_t>{9, 9})) << "in both plans";
  EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
}

TEST_F(EventLoop, TheEventsGoWhenAPlanIsOverAndNotWithTheModule) {
  // Notes the mask at the look at the abort key that comes between two plans.
  class BetweenPlans : public OrvanStdio {
   public:
    BetweenPlans(std::wostream& console, std::vector<std::uint32_t>& masks)
        : OrvanStdio(console), masks_(masks) {}
    ViewResult EndSuite(std::string text, double seconds, bool failed) override {
      deviceOver_ = true;
      return OrvanStdio::EndSuite(std::move(text), seconds, failed);
    }
    ViewResult ShowSuiteProgress(int /*percent*/, double /*seconds*/) override {
      planOver_ = deviceOver_;
      return 0;
    }
    bool IsAbortRequested() override {
      if (planOver_) masks_.push_back(GetProcessState().SystemEventHoldMask);
      planOver_ = deviceOver_ = false;
      return false;
    }

   private:
    std::vector<std::uint32_t>& masks_;
    bool deviceOver_ = false;
    bool planOver_ = false;
  };
  EXPECT_EQ(Parse({"-Mstorage", "-Qf"}), 0);
  std::vector<std::uint32_t> masks;
  cli->view = std::make_unique<BetweenPlans>(capture, masks);
  cli->RunSelection();
  EXPECT_EQ(masks, std::vector<std::uint32_t>{0});
}

TEST_F(EventLoop, AnEarlyStopLetsTheEventsGoToo) {
  storage->deviceList.clear();
  Run({"-Mstorage"});
  EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
}

}  // namespace
