#include "frontend/module_run.h"

#include <algorithm>
#include <array>

#include "boundary/orvan_service.h"
#include "frontend/cadence.h"
#include "frontend/cli.h"
#include "frontend/listings.h"
#include "frontend/message_keys.h"
#include "frontend/system_event_handlers.h"
#include "frontend/thread_manager.h"
#include "system/process_state.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

constexpr int kAllPercent = 100;

}  // namespace

ModuleRun::ModuleRun(Cli& cli, ModuleSelection& selection, Tick start, bool& cancelSeen)
    : cli_(cli),
      view_(*cli.view),
      timer_(*cli.timer),
      service_(*GetProcessState().service),
      suiteListener_(*cli.suiteListener),
      testListener_(*cli.testListener),
      eventQueue_(*cli.eventQueue),
      module_(selection.module),
      plannedTests_(Cli::CountPlannedTests(selection.plans)),
      cancelSeen_(cancelSeen),
      lastLook_(start) {
  module_->GetDisplayName(moduleName_);
}

void ModuleRun::RunPlan(const DeviceRunPlan& plan) {
  if (GetProcessState().abort.abortRequested || view_.IsAbortRequested()) AbortRun();
  device_ = plan.device;
  percentStep_ = 0;
  percentSum_ = 0;
  planFinished_ = false;
  HoldSystemEvents();
  ThreadManager::Instance().StartRun(module_, plan.device, plan.diagnostics);
  try {
    RunEventLoop();
  } catch (...) {
    // The service still calls the listeners, which must outlive its run.
    service_.AbortExecution();
    DrainEvents();
    throw;
  }
}

void ModuleRun::RunEventLoop() {
  while (!planFinished_) {
    AwaitWithLooks([](bool isEmpty) { return !isEmpty; }, [] {});
    HandleEvent(*eventQueue_.Front());
    eventQueue_.Pop();
  }
}

// Sleeps until `ready(isEmpty)` holds, and calls `show()` behind each look at the abort key before
// that. Looks are half a second apart over the whole run of the module, whatever its tests last: a
// look that falls due while something is ready comes before this returns.
template <class Ready, class Show>
void ModuleRun::AwaitWithLooks(Ready ready, Show show) {
  while (!eventQueue_.WaitForChange(UntilNextLook(), ready)) {
    LookForAbort();
    show();
  }
  if (UntilNextLook() <= std::chrono::milliseconds(0)) LookForAbort();
}

// Not above zero when the next look is due.
std::chrono::milliseconds ModuleRun::UntilNextLook() const {
  const std::chrono::duration<double> since(timer_.SecondsBetween(lastLook_, timer_.Now()));
  return std::chrono::ceil<std::chrono::milliseconds>(kCadence - since);
}

void ModuleRun::LookForAbort() {
  lastLook_ = timer_.Now();
  if (view_.IsAbortRequested()) AbortRun();
}

void ModuleRun::AbortRun() {
  service_.AbortExecution();
  GetProcessState().abort.abortRequested = true;
}

// Lets the service run to the end of its suite without showing anything.
void ModuleRun::DrainEvents() {
  for (bool ended = false; !ended; eventQueue_.Pop()) {
    eventQueue_.WaitForEvent();
    const std::uint32_t id = eventQueue_.Front()->id;
    if (id == kEventDiagnosticStart) eventQueue_.startAcknowledge.Post();
    if (id == kEventTestFinished) eventQueue_.testGate.Post();
    if (id == kEventDiagnosticFinished) eventQueue_.diagnosticGate.Post();
    ended = id == kEventSuiteFinished;
  }
}

void ModuleRun::HandleEvent(const CliEvent& event) {
  struct Row {
    std::uint32_t id;
    void (ModuleRun::*action)(const CliEvent& event);
  };
  static constexpr std::array kActions{
      Row{kEventSuiteStart, &ModuleRun::OnSuiteStarted},
      Row{kEventDeviceStart, &ModuleRun::OnDeviceStarted},
      Row{kEventDiagnosticStart, &ModuleRun::OnDiagnosticStarted},
      Row{kEventTestStart, &ModuleRun::OnTestStarted},
      Row{kEventTestRunning, &ModuleRun::WatchTest},
      Row{kEventTestFinished, &ModuleRun::OnTestFinished},
      Row{kEventDiagnosticFinished, &ModuleRun::OnDiagnosticFinished},
      Row{kEventDeviceFinished, &ModuleRun::OnDeviceFinished},
      Row{kEventSuiteFinished, &ModuleRun::OnSuiteFinished},
  };
  const auto* row = std::find_if(kActions.begin(), kActions.end(),
                                 [&event](const Row& entry) { return entry.id == event.id; });
  if (row != kActions.end()) (this->*row->action)(event);
}

void ModuleRun::OnSuiteStarted(const CliEvent& /*event*/) {
  percentStep_ = static_cast<int>(kAllPercent / plannedTests_);
}

void ModuleRun::OnDeviceStarted(const CliEvent& /*event*/) {
  std::string id = kNoDeviceFound;
  if (device_ != nullptr) device_->GetId(id);
  view_.BeginSuite(id, moduleName_);
  view_.PrintNewLine();
  view_.PrintSeparator();
  tarvex::ShowDeviceInformation(cli_, device_, nullptr);
  view_.PrintSeparator();
  deviceFailed_ = false;
}

void ModuleRun::OnDiagnosticStarted(const CliEvent& event) {
  if (GetProcessState().abort.abortRequested) service_.AbortExecution();
  eventQueue_.startAcknowledge.Post();
  view_.BeginDiagnostic(std::get<DiagnosticStartRecord>(event.payload).name);
}

void ModuleRun::OnTestStarted(const CliEvent& event) {
  const auto& test = std::get<TestStartRecord>(event.payload);
  testListener_.ResetPercent();
  view_.ShowTestProgress(-1, 0.0);
  view_.BeginTest(test.name, test.key);
}

// The main thread spends a test's lifetime here: it wakes when the test has finished, and with each
// look at the abort key to show progress.
void ModuleRun::WatchTest(const CliEvent& /*event*/) {
  AwaitWithLooks([this](bool /*isEmpty*/) { return suiteListener_.TestFinished(); },
                 [this] {
                   if (!ShowTestMessage()) ShowTestProgress();
                 });
  ShowTestMessage();
  ShowTestProgress();
}

void ModuleRun::ShowTestProgress() {
  view_.ShowTestProgress(testListener_.GetPercent(),
                         timer_.SecondsBetween(suiteListener_.TestStart(), timer_.Now()));
}

// Shows what the running test said since the last look; false when it said nothing.
bool ModuleRun::ShowTestMessage() {
  const std::string message = testListener_.GetMessage();
  if (message.empty()) return false;
  view_.ClearLine();
  view_.PrintSentence(std::string(tarvex::kIndent) + tarvex::kInfoTag + " ", false);
  view_.PrintSentence(message, true);
  testListener_.ClearMessage();
  return true;
}

void ModuleRun::OnTestFinished(const CliEvent& event) {
  const auto& test = std::get<TestFinishedRecord>(event.payload);
  testListener_.ResetPercent();
  view_.ShowTestProgress(-1, 0.0);
  double seconds = timer_.SecondsBetween(test.start, test.end);
  if (test.status == kTestFailed) deviceFailed_ = true;
  if (test.status == kTestCanceled) {
    if (cancelSeen_) seconds = 0.0;
    cancelSeen_ = true;
  }
  view_.EndTest(test.status, seconds);
  cli_.FoldStatus(test.status);
  percentSum_ += percentStep_;
  view_.ShowSuiteProgress(percentSum_,
                          timer_.SecondsBetween(suiteListener_.SuiteStart(), timer_.Now()));
  eventQueue_.testGate.Post();
}

void ModuleRun::OnDiagnosticFinished(const CliEvent& /*event*/) {
  view_.EndDiagnostic();
  eventQueue_.diagnosticGate.Post();
}

void ModuleRun::OnDeviceFinished(const CliEvent& event) {
  const auto& device = std::get<DeviceFinishedRecord>(event.payload);
  view_.EndSuite(device.text, timer_.SecondsBetween(device.start, device.end), deviceFailed_);
}

void ModuleRun::OnSuiteFinished(const CliEvent& /*event*/) {
  percentSum_ = kAllPercent;
  view_.ShowSuiteProgress(
      percentSum_, timer_.SecondsBetween(suiteListener_.SuiteStart(), suiteListener_.SuiteEnd()));
  planFinished_ = true;
  ReleaseSystemEvents();
}
