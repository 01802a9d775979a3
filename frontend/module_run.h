#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "boundary/orvan_service_plan.h"
#include "system/timer.h"

class Cli;
class CliEventQueue;
class CliSuiteListener;
class CliTestListener;
class DiagModule;
class OrvanService;
class OrvanStdio;
struct CliEvent;
struct ModuleSelection;

// The run of one module's plans: gives each to the service and turns the events that come back into
// lines, looks for the abort key and folds each verdict into the result. It works on the listeners
// and the queue of the application object, which must outlive it. Main thread.
class ModuleRun {
 public:
  // The selection has a module and planned tests. Looks at the abort key are counted from `start`.
  // `cancelSeen` outlives the run: the first canceled test keeps its time, later ones show none.
  ModuleRun(Cli& cli, ModuleSelection& selection, Tick start, bool& cancelSeen);

  // Returns when the service is through with the plan; also when an exception passes, after an
  // abort and with the rest unseen.
  void RunPlan(const DeviceRunPlan& plan);

 private:
  void RunEventLoop();
  template <class Ready, class Show>
  void AwaitWithLooks(Ready ready, Show show);
  std::chrono::milliseconds UntilNextLook() const;
  void LookForAbort();
  void AbortRun();
  void DrainEvents();
  void HandleEvent(const CliEvent& event);
  void OnSuiteStarted(const CliEvent& event);
  void OnDeviceStarted(const CliEvent& event);
  void OnDiagnosticStarted(const CliEvent& event);
  void OnTestStarted(const CliEvent& event);
  void WatchTest(const CliEvent& event);
  bool ShowTestMessage();
  void ShowTestProgress();
  void OnTestFinished(const CliEvent& event);
  void OnDiagnosticFinished(const CliEvent& event);
  void OnDeviceFinished(const CliEvent& event);
  void OnSuiteFinished(const CliEvent& event);

  Cli& cli_;
  OrvanStdio& view_;
  Timer& timer_;
  OrvanService& service_;
  CliSuiteListener& suiteListener_;
  CliTestListener& testListener_;
  CliEventQueue& eventQueue_;
  DiagModule* const module_;
  std::string moduleName_;          // as the module displays it
  const std::size_t plannedTests_;  // of all plans of the module
  bool& cancelSeen_;
  Tick lastLook_;                 // at the abort key
  DiagDevice* device_ = nullptr;  // of the plan in hand; null for the pseudo device
  int percentStep_ = 0;
  int percentSum_ = 0;
  bool planFinished_ = false;
  bool deviceFailed_ = false;
};
