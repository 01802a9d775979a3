#include "frontend/run_driver.h"

#include <algorithm>

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

bool HasTests(const DeviceRunPlan& plan) {
  return std::any_of(plan.diagnostics.begin(), plan.diagnostics.end(),
                     [](const DiagnosticRunItem& item) { return !item.tests.empty(); });
}

void OpenListeners(Cli& cli, OrvanService& service) {
  cli.suiteListener = std::make_unique<CliSuiteListener>();
  cli.testListener = std::make_unique<CliTestListener>();
  cli.eventQueue = std::make_unique<CliEventQueue>();
  cli.suiteListener->SetQueue(cli.eventQueue.get());
  service.SetSuiteListener(cli.suiteListener.get());
  service.SetTestListener(cli.testListener.get());
}

void CloseListeners(Cli& cli, OrvanService& service) {
  service.SetSuiteListener(nullptr);
  service.SetTestListener(nullptr);
  cli.suiteListener.reset();
  cli.testListener.reset();
  cli.eventQueue.reset();
}

// Opens the module's block, and says what keeps devices or all of it from running; false when
// nothing runs.
bool BeginModule(Cli& cli, ModuleSelection& selection) {
  std::string name;
  cli.view->BeginModule(selection.module->GetDisplayName(name));
  if (selection.HasNoDevices()) {
    tarvex::PrintWarning(*cli.view, kKeyNoDevicesFound);
    cli.MergeResult(kResultNoDevice);
    if (!Has(cli.flags, CLI_FLAG_SUPERVISED)) return false;
  }
  if (selection.plans.empty()) {
    tarvex::PrintWarningList(*cli.view, kKeyFollowingDevicesMissing, selection.missingDevices);
    cli.MergeResult(kResultNoDevice);
    return false;
  }
  if (Cli::CountPlannedTests(selection.plans) == 0) {
    cli.result = kResultNotApplicable;
    tarvex::PrintWarningTag(*cli.view);
    cli.view->PrintRaw(kTextNothingApplicable, false);
    return false;
  }
  if (!selection.missingDevices.empty()) {
    tarvex::PrintWarningList(*cli.view, kKeyDevicesNotFound, selection.missingDevices);
  }
  return true;
}

// The devices that were found by then count, and their tests are canceled.
void LookForAbort(Cli& cli) {
  if (!cli.view->IsAbortRequested()) return;
  GetProcessState().service->AbortExecution();
  GetProcessState().abort.abortRequested = true;
}

}  // namespace

void tarvex::RunModules(Cli& cli, const NamedRecords<ModuleSelection>& modules,
                        const std::function<bool(ModuleSelection& selection)>& prepare) {
  if (Has(cli.flags, CLI_FLAG_SUPERVISED)) GetProcessState().service->EnableSupervisedRun();
  ThreadManager& threads = ThreadManager::Instance();
  bool finalResultOpened = false;
  for (const auto& [name, selection] : modules) {
    if (selection->module == nullptr) continue;
    cli.ScanModuleDevices(selection.get(), [&cli] { LookForAbort(cli); });
    if (!prepare(*selection)) continue;
    cli.BuildRunPlan(selection.get());
    if (!finalResultOpened && cli.HasPlannedTests(selection.get())) {
      threads.BeginFinalResult(cli.groupId, cli.callerInfo);
      finalResultOpened = true;
    }
    cli.RunModule(selection.get());
    cli.view->PrintNewLine();
  }
  if (!finalResultOpened) return;
  std::string code;
  threads.GetFinalResultCode(code, kFinalResultCodeSize);
  cli.view->FinishExecutionBlock(code);
}

void Cli::RunSelection() {
  if (!Has(flags, CLI_FLAG_DIAGNOSTIC)) return;
  tarvex::RunModules(*this, selectedModules, [](ModuleSelection&) { return true; });
}

int Cli::RunModule(ModuleSelection* selection) {
  if (selection == nullptr) return 0;
  const Tick start = timer->Now();
  const SystemEventsHold hold;
  OrvanService& service = *GetProcessState().service;
  OpenListeners(*this, service);
  if (selection->module == nullptr) return 0;
  service.SetNoDevicesMode(selection->HasNoDevices());
  if (!BeginModule(*this, *selection)) return 0;
  ModuleRun run(*this, *selection, start, firstCancelSeen_);
  for (const DeviceRunPlan& plan : selection->plans) {
    if (!Has(flags, CLI_FLAG_RUN_ALL) || HasTests(plan)) run.RunPlan(plan);
  }
  CloseListeners(*this, service);
  return 0;
}
