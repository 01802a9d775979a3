#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class AbortKey : public FrontEndTest {
 protected:
  AbortKey() { storage = &AddStorage(); }

  FakeTest& F() { return TestOf(*storage, 0, 0); }
  FakeTest& R() { return TestOf(*storage, 0, 1); }
  // Blocks a running test until the main thread has looked for the abort key `looks` times.
  static void AwaitLooks(int looks) {
    FakeConsole& console = TheFakeHost().console;
    console.AwaitReads(console.Reads() + looks);
  }
  // Diagnostic N "many" with tests that take that long each; the test of number `escaping`,
  // counted from 1, presses Escape at its start.
  void AddShortTests(int count, std::uint32_t milliseconds, int escaping = 0) {
    FakeDiagnostic& many = storage->AddDiagnostic("MANY_CHECK", "N", "many", 3);
    for (int number = 1; number <= count; ++number) {
      const std::string text = std::to_string(number);
      many.AddTest("T" + text, "t" + text, "long" + text)
          .Body([milliseconds, isEscaping = number == escaping](FakeTestRun&) {
            if (isEscaping) TheFakeHost().console.Press(27);
            TheFakeHost().timer.Advance(milliseconds);
            return kTestPassed;
          });
    }
  }
  static int Count(const std::string& text, const std::string& word) {
    int count = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
    return count;
  }

  FakeModule* storage;
};

// Looks among tests that are shorter than the time between two of them.

TEST_F(AbortKey, ItIsSeenHalfASecondLaterHoweverShortTheTestsAre) {
  constexpr int kTests = 20;
  AddShortTests(kTests, 300, 5);
  const std::string screen = Run({"-Mstorage", "-N", "0"});
  EXPECT_EQ(cli->result, 25);
  const int passed = Count(screen, "Test Status: Passed!");
  EXPECT_GE(passed, 4) << screen;
  EXPECT_LE(passed, 6) << "the fifth test pressed it; the next look lies in the sixth\n" << screen;
  EXPECT_EQ(Count(screen, "Test Status: Canceled!"), kTests - passed) << screen;
}

TEST_F(AbortKey, LooksAreHalfASecondApartHoweverShortTheTestsAre) {
  AddShortTests(100, 50);
  Run({"-Mstorage", "-N", "0"});
  // Five seconds of tests and the look before the plan make 11; time that this machine takes
  // away may add some.
  EXPECT_GE(host().console.Reads(), 11);
  EXPECT_LE(host().console.Reads(), 30);
}

TEST_F(AbortKey, TheTimeOfOnePlanCountsForTheNext) {
  F().Body([](FakeTestRun&) {
    TheFakeHost().timer.Advance(300);
    return kTestPassed;
  });
  Run({"-Mstorage", "-Qf", "0", "1"});
  EXPECT_GE(host().console.Reads(), 3) << "one before each plan, one after 600 ms";
}

TEST_F(AbortKey, ItIsSeenWhileTheServiceIsBetweenTwoTests) {
  service().beforeTest = [number = 0]() mutable {
    if (++number < 2) return;
    TheFakeHost().console.Press(27);
    TheFakeService().AwaitAbort();
  };
  const std::string screen = Run({"-Mstorage", "-Qf,r", "0"});
  EXPECT_NE(screen.find(TestText("Funnel Test", "Passed")), std::string::npos) << screen;
  EXPECT_NE(screen.find(TestText("Read Test", "Canceled")), std::string::npos) << screen;
}

// Which keys count, and what an abort does.

TEST_F(AbortKey, EscapeDuringATestAbortsAtOnceAndAtEveryDiagnosticBehind) {
  F().Body([](FakeTestRun& run) {
    TheFakeHost().console.Press(27);
    run.AwaitAbort();
    return kTestCanceled;
  });
  const std::string screen = Run({"-Mstorage", "-Qf,r", "-E", "0"});
  EXPECT_EQ(service().aborts.size(), 2U) << "once for the key, once for the next diagnostic";
  EXPECT_EQ(service().aborts.at(0).signal, 0);
  EXPECT_NE(screen.find(TestText("Read Test", "Canceled")), std::string::npos);
  EXPECT_NE(screen.find(TestText("Surface Test", "Canceled")), std::string::npos) << screen;
  EXPECT_EQ(cli->result, 25);
}

TEST_F(AbortKey, AnAbortSpansPlansAndModules) {
  AddMemory();
  F().Body([](FakeTestRun& run) {
    TheFakeHost().console.Press(27);
    run.AwaitAbort();
    return kTestCanceled;
  });
  R().Body([](FakeTestRun&) { return kTestPassed; });
  Run({"-Mstorage", "-Qr,f", "-Mmemory"});
  EXPECT_EQ(cli->result, 25);
  EXPECT_EQ(service().runs.size(), 3U);
  EXPECT_EQ(service().aborts.size(), 5U)
      << "for the key, and at the start of each later plan and of its diagnostic";
}

TEST_F(AbortKey, OtherKeysDoNotAbort) {
  F().Body([](FakeTestRun&) {
    TheFakeHost().console.Press('q');
    AwaitLooks(2);
    return kTestPassed;
  });
  Run({"-Mstorage", "-Qf", "0"});
  EXPECT_TRUE(service().aborts.empty());
}

TEST_F(AbortKey, EscapeBeforeAPlanAbortsIt) {
  host().console.Press(27);
  Run({"-Mstorage", "-Qf", "0"});
  EXPECT_EQ(service().aborts.size(), 2U) << "before the plan and at its diagnostic";
  EXPECT_EQ(cli->result, 25);
}

TEST_F(AbortKey, ANewApplicationObjectForgetsTheAbort) {
  host().console.Press(27);
  Run({"-Mstorage", "-Qf", "0"});
  Stop();
  optind = 0;
  service().aborts.clear();
  Run({"-Mstorage", "-Qf", "0"});
  EXPECT_TRUE(service().aborts.empty());
  EXPECT_EQ(cli->result, 0);
}

TEST_F(AbortKey, ASupervisorsAbortIsPassedOnAtTheStartOfEachPlanToo) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const int input = dup(0);
  dup2(ends[0], 0);
  F().Body([&ends](FakeTestRun& run) {
    if (write(ends[1], "a", 1) == 1) run.AwaitAbort();
    return kTestCanceled;
  });
  Run({"--HDK", "-Mstorage", "-Qf"});
  Stop();
  dup2(input, 0);
  for (const int descriptor : {ends[0], ends[1], input}) close(descriptor);
  const Words calls = service().Calls();
  const auto first = std::find(calls.begin(), calls.end(), "ExecuteDiagnostics(storage,0)");
  const auto second = std::find(calls.begin(), calls.end(), "ExecuteDiagnostics(storage,1)");
  ASSERT_NE(second, calls.end());
  EXPECT_EQ(std::count(first, second, "AbortExecution"), 2) << "during the test, before the plan";
  EXPECT_GE(std::count(second, calls.end(), "AbortExecution"), 1) << "at its diagnostic";
}

}  // namespace
