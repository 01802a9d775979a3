#include <algorithm>
#include <array>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/module_run.h"
#include "frontend/system_event_handlers.h"
#include "frontend/thread_manager.h"
#include "frontend/warning_lines.h"
#include "system/process_state.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/orvan_stdio.h"

namespace {

// Results that a module without anything to run on leaves as they are.
constexpr std::array kResultsOfRuns{kResultPassed, kResultFailed, kResultWarning,
                                    kResultNotApplicable, kResultCanceled};

}  // namespace

void Cli::RunSelection() {
  if (!Has(flags, CLI_FLAG_DIAGNOSTIC)) return;
  if (Has(flags, CLI_FLAG_SUPERVISED)) Service()->EnableSupervisedRun();
  bool finalResultOpened = false;
  for (auto& [name, selection] : selectedModules) {
    if (selection->module == nullptr) continue;
    ScanModuleDevices(selection.get());
    BuildRunPlan(selection.get());
    OpenFinalResult(*selection, finalResultOpened);
    RunModule(selection.get());
    view->PrintNewLine();
  }
  if (finalResultOpened) ShowFinalResult();
}

void Cli::OpenFinalResult(const ModuleSelection& selection, bool& opened) {
  if (opened || !HasPlannedTests(&selection)) return;
  ThreadManager::Instance().BeginFinalResult(groupId, callerInfo);
  opened = true;
}

void Cli::ShowFinalResult() {
  std::string code;
  ThreadManager::Instance().GetFinalResultCode(code, kFinalResultCodeSize);
  view->FinishExecutionBlock(code);
}

void Cli::OpenListeners() {
  suiteListener = std::make_unique<CliSuiteListener>();
  testListener = std::make_unique<CliTestListener>();
  eventQueue = std::make_unique<CliEventQueue>();
  suiteListener->SetQueue(eventQueue.get());
  Service()->SetSuiteListener(suiteListener.get());
  Service()->SetTestListener(testListener.get());
}

void Cli::CloseListeners() {
  Service()->SetSuiteListener(nullptr);
  Service()->SetTestListener(nullptr);
  suiteListener.reset();
  testListener.reset();
  eventQueue.reset();
}

void Cli::SetResultUnlessRun(std::int32_t code) {
  if (std::find(kResultsOfRuns.begin(), kResultsOfRuns.end(), result) == kResultsOfRuns.end()) {
    result = code;
  }
}

int Cli::RunModule(ModuleSelection* selection) {
  if (selection == nullptr) return 0;
  ModuleRun run;
  run.lastLook = timer->Now();
  HoldSystemEvents();
  const SystemEventsRelease releaseAtEnd;
  OpenListeners();
  const std::vector<DeviceRunPlan>& plans = selection->plans;
  if (selection->module == nullptr) return 0;
  run.module = selection->module;
  run.module->GetDisplayName(run.moduleName);

  const bool noDevices = selection->HasNoDevices();
  Service()->SetNoDevicesMode(noDevices);
  view->BeginModule(run.moduleName);
  if (noDevices) {
    tarvex::PrintWarning(*view, kKeyNoDevicesFound);
    SetResultUnlessRun(kResultNoDevice);
    if (!Has(flags, CLI_FLAG_SUPERVISED)) return 0;
  }
  if (plans.empty()) {
    tarvex::PrintWarningList(*view, kKeyFollowingDevicesMissing, selection->missingDevices);
    SetResultUnlessRun(kResultNoDevice);
    return 0;
  }
  run.plannedTests = CountPlannedTests(plans);
  if (run.plannedTests == 0) {
    result = kResultNotApplicable;
    tarvex::PrintWarningTag(*view, "");
    view->PrintRaw(kTextNothingApplicable, false);
    return 0;
  }
  if (!selection->missingDevices.empty()) {
    tarvex::PrintWarningList(*view, kKeyDevicesNotFound, selection->missingDevices);
  }
  for (const DeviceRunPlan& plan : plans) RunPlan(run, plan);
  CloseListeners();
  return 0;
}

void Cli::AbortRun() {
  Service()->AbortExecution();
  GetProcessState().abort.abortRequested = true;
}

void Cli::RunPlan(ModuleRun& run, const DeviceRunPlan& plan) {
  const bool empty = std::all_of(plan.diagnostics.begin(), plan.diagnostics.end(),
                                 [](const DiagnosticRunItem& item) { return item.tests.empty(); });
  if (Has(flags, CLI_FLAG_RUN_ALL) && empty) return;
  if (GetProcessState().abort.abortRequested || view->IsAbortRequested()) AbortRun();
  run.device = plan.device;
  run.percentStep = 0;
  run.percentSum = 0;
  run.planFinished = false;
  HoldSystemEvents();
  ThreadManager::Instance().StartRun(run.module, plan.device, plan.diagnostics);
  try {
    RunEventLoop(run);
  } catch (...) {
    // The service still calls the listeners, which must outlive its run.
    Service()->AbortExecution();
    DrainEvents();
    throw;
  }
}
