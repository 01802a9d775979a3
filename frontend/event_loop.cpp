#include <algorithm>
#include <array>
#include <chrono>

#include "boundary/orvan_service.h"
#include "frontend/cadence.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/module_run.h"
#include "frontend/system_event_handlers.h"
#include "system/process_state.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

constexpr int kAllPercent = 100;

}  // namespace

void Cli::RunEventLoop(ModuleRun& run) {
  while (!run.planFinished) {
    AwaitWithLooks(
        run, [this] { return !eventQueue->IsEmpty(); }, [] {});
    HandleEvent(run, *eventQueue->Front());
    eventQueue->Pop();
  }
}

// Sleeps until `ready()` holds, and calls `show()` behind each look at the abort key before that.
// Looks are half a second apart over the whole run of the module, whatever its tests last: a look
// that falls due while something is ready comes before this returns.
template <class Ready, class Show>
void Cli::AwaitWithLooks(ModuleRun& run, Ready ready, Show show) {
  while (!eventQueue->WaitForChange(UntilNextLook(run), ready)) {
    LookForAbort(run);
    show();
  }
  if (UntilNextLook(run) <= std::chrono::milliseconds(0)) LookForAbort(run);
}

// Not above zero when the next look is due.
std::chrono::milliseconds Cli::UntilNextLook(const ModuleRun& run) const {
  const std::chrono::duration<double> since(timer->SecondsBetween(run.lastLook, timer->Now()));
  return std::chrono::ceil<std::chrono::milliseconds>(kCadence - since);
}

void Cli::LookForAbort(ModuleRun& run) {
  run.lastLook = timer->Now();
  if (view->IsAbortRequested()) AbortRun();
}

// Lets the service run to the end of its suite without showing anything.
void Cli::DrainEvents() {
  for (bool ended = false; !ended; eventQueue->Pop()) {
    eventQueue->WaitForEvent();
    const std::uint32_t id = eventQueue->Front()->id;
    if (id == kEventDiagnosticStart) eventQueue->startAcknowledge.Post();
    if (id == kEventTestFinished) eventQueue->testGate.Post();
    if (id == kEventDiagnosticFinished) eventQueue->diagnosticGate.Post();
    ended = id == kEventSuiteFinished;
  }
}

void Cli::HandleEvent(ModuleRun& run, const CliEvent& event) {
  struct Row {
    std::uint32_t id;
    void (Cli::*action)(ModuleRun& run, const CliEvent& event);
  };
  static constexpr std::array kActions{
      Row{kEventSuiteStart, &Cli::OnSuiteStarted},
      Row{kEventDeviceStart, &Cli::OnDeviceStarted},
      Row{kEventDiagnosticStart, &Cli::OnDiagnosticStarted},
      Row{kEventTestStart, &Cli::OnTestStarted},
      Row{kEventTestRunning, &Cli::WatchTest},
      Row{kEventTestFinished, &Cli::OnTestFinished},
      Row{kEventDiagnosticFinished, &Cli::OnDiagnosticFinished},
      Row{kEventDeviceFinished, &Cli::OnDeviceFinished},
      Row{kEventSuiteFinished, &Cli::OnSuiteFinished},
  };
  const auto* row = std::find_if(kActions.begin(), kActions.end(),
                                 [&event](const Row& entry) { return entry.id == event.id; });
  if (row != kActions.end()) (this->*row->action)(run, event);
}

void Cli::OnSuiteStarted(ModuleRun& run, const CliEvent& /*event*/) {
  run.percentStep = static_cast<int>(kAllPercent / run.plannedTests);
}

void Cli::OnDeviceStarted(ModuleRun& run, const CliEvent& /*event*/) {
  std::string id = kNoDeviceFound;
  if (run.device != nullptr) run.device->GetId(id);
  view->BeginSuite(id, run.moduleName);
  view->PrintNewLine();
  view->PrintSeparator();
  ShowDeviceInformation(run.device, nullptr);
  view->PrintSeparator();
  run.deviceFailed = false;
}

void Cli::OnDiagnosticStarted(ModuleRun& /*run*/, const CliEvent& event) {
  if (GetProcessState().abort.abortRequested) Service()->AbortExecution();
  eventQueue->startAcknowledge.Post();
  view->BeginDiagnostic(std::get<DiagnosticStartRecord>(event.payload).name);
}

void Cli::OnTestStarted(ModuleRun& /*run*/, const CliEvent& event) {
  const auto& test = std::get<TestStartRecord>(event.payload);
  testListener->ResetPercent();
  view->ShowTestProgress(-1, 0.0);
  view->BeginTest(test.name, test.key);
}

// The main thread spends a test's lifetime here: it wakes when the test has finished, and with each
// look at the abort key to show progress.
void Cli::WatchTest(ModuleRun& run, const CliEvent& /*event*/) {
  const auto showProgress = [this] {
    view->ShowTestProgress(testListener->GetPercent(),
                           timer->SecondsBetween(suiteListener->TestStart(), timer->Now()));
  };
  const auto finished = [this] { return suiteListener->TestFinished(); };
  AwaitWithLooks(run, finished, [&] {
    if (!ShowTestMessage()) showProgress();
  });
  ShowTestMessage();
  showProgress();
}

// Shows what the running test said since the last look; false when it said nothing.
bool Cli::ShowTestMessage() {
  const std::string message = testListener->GetMessage();
  if (message.empty()) return false;
  view->ClearLine();
  view->PrintSentence(std::string(tarvex::kIndent) + tarvex::kInfoTag + " ", false);
  view->PrintSentence(message, true);
  testListener->ClearMessage();
  return true;
}

void Cli::OnTestFinished(ModuleRun& run, const CliEvent& event) {
  const auto& test = std::get<TestFinishedRecord>(event.payload);
  testListener->ResetPercent();
  view->ShowTestProgress(-1, 0.0);
  double seconds = timer->SecondsBetween(test.start, test.end);
  if (test.status == kTestFailed) run.deviceFailed = true;
  if (test.status == kTestCanceled) {
    if (firstCancelSeen_) seconds = 0.0;
    firstCancelSeen_ = true;
  }
  view->EndTest(test.status, seconds);
  FoldStatus(test.status);
  run.percentSum += run.percentStep;
  view->ShowSuiteProgress(run.percentSum,
                          timer->SecondsBetween(suiteListener->SuiteStart(), timer->Now()));
  eventQueue->testGate.Post();
}

void Cli::OnDiagnosticFinished(ModuleRun& /*run*/, const CliEvent& /*event*/) {
  view->EndDiagnostic();
  eventQueue->diagnosticGate.Post();
}

void Cli::OnDeviceFinished(ModuleRun& run, const CliEvent& event) {
  const auto& device = std::get<DeviceFinishedRecord>(event.payload);
  view->EndSuite(device.text, timer->SecondsBetween(device.start, device.end), run.deviceFailed);
}

void Cli::OnSuiteFinished(ModuleRun& run, const CliEvent& /*event*/) {
  run.percentSum = kAllPercent;
  view->ShowSuiteProgress(run.percentSum, timer->SecondsBetween(suiteListener->SuiteStart(),
                                                                suiteListener->SuiteEnd()));
  run.planFinished = true;
  ReleaseSystemEvents();
}
