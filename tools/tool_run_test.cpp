#include "tools/tool_run.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "boundary/hostlayer_console.h"
#include "tests/fakes/tool_test.h"
#include "tests/support/test_pipe.h"
#include "tools/forced_abort.h"
#include "tools/tool_keyboard.h"
#include "tools/tool_listener.h"

namespace {

using Steps = std::vector<std::string>;
using Property = FakeTool::Property;

struct RecordingContext : ToolEventContext {
  Steps steps;
  std::thread::id thread;
  std::function<void()> onStart;
};

// Does what its name says.
class StepEvent : public ToolEvent {
 public:
  explicit StepEvent(std::string eventName) : name_(std::move(eventName)) {}
  void apply(ToolEventContext& context) override {
    auto& record = static_cast<RecordingContext&>(context);
    record.thread = std::this_thread::get_id();
    if (name_ == "throw") throw std::runtime_error("event");
    if (name_ == "start") {
      record.StartDevice();
      record.onStart();
    }
    record.steps.push_back(name_);
  }
  bool IsProgress() const override { return name_ == "progress"; }

 private:
  std::string name_;
};

constexpr std::array kRows{
    ToolHandlerRow{"OnStep", [](const ToolReport& report) -> std::unique_ptr<ToolEvent> {
                     return std::make_unique<StepEvent>(report.Item("Step", 0));
                   }}};

class NoDevices : public ToolDevices {
 public:
  using ToolDevices::ToolDevices;
};

class ToolRunTest : public ToolTest {
 protected:
  ToolRunTest() : devices(Target()), listener(queue, devices, kRows) {
    context.timer = &host().timer;  // stands still, so nothing is due unless the test says so
  }

  void Run(bool keyBeforeLoop = false) {
    std::vector<DiagDevice*> runOn{&module.AddDevice("A", "Disk A")};
    tarvex::RunTool({Target(), &listener, runOn, queue, context, keyboard, capture, keyBeforeLoop,
                     [this](double seconds) {
                       if (onProgress) onProgress(seconds);
                     }});
  }
  // Makes the next quiet moment due and wakes the loop for it.
  void PassTime(FakeToolRun& run, std::uint32_t milliseconds = 251) {
    host().timer.Advance(milliseconds);
    run.Fire("OnStep", "Step", {"time"});
  }
  int Aborts() { return service().CountCalls("AbortTool(some_tool)"); }

  ToolEventQueue queue;
  NoDevices devices;
  ToolListener listener;
  RecordingContext context;
  ToolKeyboard keyboard;
  ForcedAbort forcedAbort{Target()};
  std::function<void(double)> onProgress;
};

TEST_F(ToolRunTest, EventsAreAppliedHereInTheirOrder) {
  std::thread::id worker;
  tool.body = [&worker](FakeToolRun& run) {
    worker = std::this_thread::get_id();
    for (const char* step : {"one", "two", "three"}) run.Fire("OnStep", "Step", {step});
  };
  Run();
  EXPECT_EQ(context.steps, (Steps{"one", "two", "three"}));
  EXPECT_EQ(context.thread, std::this_thread::get_id());
  EXPECT_NE(worker, std::this_thread::get_id());
  EXPECT_TRUE(service().Called("RunTool(some_tool,1)"));
  EXPECT_EQ(host().threads.Names(), Steps{"ToolWorker"});
  EXPECT_EQ(host().threads.AfterStarts(), 1);
  EXPECT_EQ(Aborts(), 0);
}

TEST_F(ToolRunTest, WhatWasPrintedIsShownWhileTheToolIsSilent) {
  context.timer = &WinTimer::Instance();
  capture << "header";
  std::string shown;
  tool.body = [&](FakeToolRun&) {
    // There is a wait between two looks at the keyboard.
    host().console.AwaitReads(2);
    shown = capture.Flushed();
  };
  Run();
  EXPECT_EQ(shown, "header");
}

TEST_F(ToolRunTest, AnEarlierForcedAbortIsTakenBackBeforeTheRun) {
  tool.body = [](FakeToolRun& run) {
    EXPECT_EQ(run.tool.Settings(), (std::vector<Property>{{"ForcedAbort", {}}}));
  };
  Run();
  EXPECT_EQ(tool.Settings().size(), 1U);
}

TEST_F(ToolRunTest, EscapeAtTheStartIsSeenOnlyWhereItIsLookedFor) {
  host().console.Press(kKeyEscape);
  tool.body = [](FakeToolRun& run) { run.AwaitAbort(); };
  Run(true);
  EXPECT_EQ(Aborts(), 1);
  EXPECT_EQ(host().console.Reads(), 1);
  tool.body = nullptr;
  Run(false);
  EXPECT_EQ(host().console.Reads(), 1);
}

TEST_F(ToolRunTest, EscapeInAQuietMomentStopsTheTool) {
  // A clock that the test moves could be moved behind the look at the keyboard and in front of the
  // look at the clock, and the second moment would never come.
  context.timer = &WinTimer::Instance();
  host().console.Press('x');
  host().console.Press(kKeyEscape);
  tool.body = [](FakeToolRun& run) { run.AwaitAbort(); };
  Run();
  EXPECT_EQ(Aborts(), 1);
  EXPECT_GE(host().console.Reads(), 2);
}

TEST_F(ToolRunTest, WithTheRealClockTheKeyboardIsLookedAtWithoutAnyEvent) {
  context.timer = &WinTimer::Instance();
  host().console.Press(kKeyEscape);
  tool.body = [](FakeToolRun& run) { run.AwaitAbort(); };
  Run();
  EXPECT_EQ(Aborts(), 1);
}

TEST_F(ToolRunTest, NothingIsLookedAtBeforeAQuarterOfASecondIsOver) {
  std::atomic<int> shown{0};
  std::promise<void> started;
  context.onStart = [&started] { started.set_value(); };
  onProgress = [&shown](double) { ++shown; };
  tool.body = [&](FakeToolRun& run) {
    run.Fire("OnStep", "Step", {"start"});
    started.get_future().wait();
    host().timer.Advance(250);
    // Each pass of the loop asks for the time, and a pass that found something due would have
    // looked at the keyboard by the third question.
    host().timer.AwaitLooks(6);
    EXPECT_EQ(host().console.Reads(), 0);
    EXPECT_EQ(shown, 0);
    host().timer.Advance(1);
    host().console.AwaitReads(1);
  };
  Run();
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(host().console.Reads(), 1);
}

TEST_F(ToolRunTest, TheNextLookComesAWholeQuarterOfASecondLater) {
  tool.body = [&](FakeToolRun&) {
    host().timer.Advance(251);
    host().console.AwaitReads(1);
    // The look is over once the time is asked for again.
    host().timer.AwaitLooks(1);
    host().timer.Advance(250);
    host().timer.AwaitLooks(6);
    EXPECT_EQ(host().console.Reads(), 1);
    host().timer.Advance(1);
    host().console.AwaitReads(2);
  };
  Run();
}

TEST_F(ToolRunTest, ProgressIsShownInWholeSecondsOnceADeviceHasBegun) {
  std::promise<void> started;
  std::promise<double> shown;
  context.onStart = [&started] { started.set_value(); };
  onProgress = [&shown](double seconds) { shown.set_value(seconds); };
  tool.body = [&](FakeToolRun& run) {
    run.Fire("OnStep", "Step", {"start"});
    started.get_future().wait();
    PassTime(run, 1999);
    EXPECT_EQ(shown.get_future().get(), 1.0);
  };
  Run();
}

TEST_F(ToolRunTest, ADeviceOfAnEarlierRunShowsNoProgress) {
  context.deviceActive = true;
  bool shown = false;
  onProgress = [&shown](double) { shown = true; };
  host().console.Press(kKeyEscape);
  tool.body = [this](FakeToolRun& run) {
    PassTime(run);
    run.AwaitAbort();
  };
  Run();
  EXPECT_FALSE(shown);
}

TEST_F(ToolRunTest, AForcedAbortEndsTheLookAtTheKeyboard) {
  host().console.Press(kKeyEscape);
  std::promise<void> started;
  std::promise<void> shown;
  context.onStart = [&started] { started.set_value(); };
  onProgress = [&shown](double) { shown.set_value(); };
  tool.body = [&](FakeToolRun& run) {
    host().signals.Fire(2);
    run.Fire("OnStep", "Step", {"start"});
    started.get_future().wait();
    PassTime(run);
    shown.get_future().wait();
  };
  Run();
  EXPECT_EQ(host().console.Reads(), 0);
  EXPECT_EQ(Aborts(), 1);
}

TEST_F(ToolRunTest, AFloodOfProgressHidesNoEscape) {
  context.timer = &WinTimer::Instance();
  host().console.Press(kKeyEscape);
  tool.body = [this](FakeToolRun& run) {
    for (int i = 0; i < 100000; ++i) run.Fire("OnStep", "Step", {"progress"});
    EXPECT_LE(queue.Count(), 1U);
    run.AwaitAbort();
  };
  Run();
  EXPECT_EQ(Aborts(), 1);
}

TEST_F(ToolRunTest, WhatWasToldBeforeAFailureIsAppliedAndTheFailurePasses) {
  tool.body = [](FakeToolRun& run) {
    run.Fire("OnStep", "Step", {"one"});
    run.Fire("OnStep", "Step", {});
  };
  EXPECT_THROW(Run(), std::out_of_range);
  EXPECT_EQ(context.steps, Steps{"one"});
  EXPECT_EQ(host().threads.Joins(), 2);  // the second finds nothing left
}

TEST_F(ToolRunTest, AFailureOfAnEventStopsTheToolAndPasses) {
  tool.body = [](FakeToolRun& run) {
    run.Fire("OnStep", "Step", {"throw"});
    run.AwaitAbort();
  };
  EXPECT_THROW(Run(), std::runtime_error);
  EXPECT_EQ(Aborts(), 1);
  host().threads.AwaitEnd("ToolWorker");
}

TEST_F(ToolRunTest, WithoutAThreadNothingIsRunAndTheReasonPasses) {
  host().threads.startResult = EAGAIN;
  try {
    Run();
    FAIL();
  } catch (const ToolThreadError& error) {
    EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
    EXPECT_STREQ(error.what(), "cannot start a thread: Resource temporarily unavailable");
  }
  EXPECT_FALSE(service().Called("RunTool(some_tool,1)"));
  EXPECT_EQ(Aborts(), 0);
  EXPECT_EQ(host().threads.AfterStarts(), 0);
}

class ForcedAbortTest : public ToolTest {};

TEST_F(ForcedAbortTest, TheFlagComesFirstThenThePropertyAndTheAbortLast) {
  const ForcedAbort forcedAbort(Target());
  std::vector<std::string> steps;
  tool.onSet = [&](const std::string& key) {
    steps.push_back(key);
    EXPECT_TRUE(ForcedAbort::IsUnderWay());
    EXPECT_FALSE(service().Called("AbortTool(some_tool)"));
  };
  host().signals.Fire(15);
  EXPECT_EQ(steps, std::vector<std::string>{"ForcedAbort"});
  EXPECT_TRUE(service().Called("AbortTool(some_tool)"));
}

TEST_F(ForcedAbortTest, ATerminationRequestSetsThePropertyAndStopsTheTool) {
  {
    const ForcedAbort forcedAbort(Target());
    EXPECT_FALSE(ForcedAbort::IsUnderWay());
    EXPECT_EQ(host().signals.Fire(15), std::vector<bool>{true});
    EXPECT_TRUE(ForcedAbort::IsUnderWay());
    EXPECT_EQ(tool.Settings(), (std::vector<Property>{{"ForcedAbort", {"Forced to abort"}}}));
    EXPECT_EQ(service().CountCalls("AbortTool(some_tool)"), 1);
    EXPECT_EQ(capture.Take(), "");
  }
  EXPECT_EQ(host().signals.handlers.size(), 0U);
  EXPECT_TRUE(ForcedAbort::IsUnderWay());
  const ForcedAbort next(Target());
  EXPECT_FALSE(ForcedAbort::IsUnderWay());
}

class ToolKeyboardTest : public ToolTest {};

TEST_F(ToolKeyboardTest, IsAUseOfTheConsoleThatIsGivenBack) {
  {
    ToolKeyboard keyboard;
    host().console.Press('y');
    EXPECT_EQ(keyboard.ReadKey(), 'y');
    EXPECT_EQ(keyboard.ReadKey(), kNoKey);
    EXPECT_EQ(host().consoleUses, 1);
  }
  EXPECT_EQ(host().consoleReleases, 1);
}

TEST_F(ToolKeyboardTest, AwaitsAKeyOfItsTerminal) {
  TestPipe terminal;
  ToolKeyboard keyboard{tarvex::TerminalWait(std::move(terminal.reading))};
  std::thread typist([] {
    host().console.AwaitReads(2);
    host().console.Press('n');
  });
  EXPECT_EQ(keyboard.AwaitKey(), 'n');
  typist.join();
}

TEST_F(ToolKeyboardTest, GivesUpOnceTheTerminalIsGone) {
  TestPipe terminal;
  ToolKeyboard keyboard{tarvex::TerminalWait(std::move(terminal.reading))};
  host().console.Press('y');
  terminal.writing.Reset();
  EXPECT_EQ(keyboard.AwaitKey(), 'y');
  EXPECT_EQ(keyboard.AwaitKey(), kNoKey);
  ToolKeyboard none{tarvex::TerminalWait(tarvex::Descriptor())};
  EXPECT_EQ(none.AwaitKey(), kNoKey);
}

TEST_F(ToolKeyboardTest, TheSignalOfAHangUpThatWasSeenComesTooLateToEndTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  TestPipe terminal;
  const auto isHungUp = [&terminal] {
    ToolKeyboard keyboard{tarvex::TerminalWait(std::move(terminal.reading))};
    terminal.writing.Reset();
    keyboard.AwaitKey();
    std::raise(SIGHUP);
    std::_Exit(0);
  };
  EXPECT_EXIT(isHungUp(), testing::ExitedWithCode(0), "");
}

TEST_F(ToolKeyboardTest, WithoutAConsoleThereIsNoKey) {
  host().consoleMissing = true;
  {
    ToolKeyboard keyboard;
    EXPECT_EQ(keyboard.ReadKey(), kNoKey);
  }
  EXPECT_EQ(host().consoleReleases, 0);
}

}  // namespace
