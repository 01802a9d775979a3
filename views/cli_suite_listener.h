#pragma once

#include <atomic>
#include <string>

#include "boundary/orvan_service_listeners.h"
#include "system/timer.h"
#include "views/cli_event.h"

class CliEventQueue;

// Receives the structure of a run from the service, stamps times and posts events. It never shows
// anything. The On operations run on the service's threads and block on the queue's gates; the
// others run on the main thread.
class CliSuiteListener : public orvan_service::SuiteListenerView {
 public:
  CliSuiteListener();
  virtual ~CliSuiteListener() = default;
  CliSuiteListener(const CliSuiteListener&) = delete;
  CliSuiteListener& operator=(const CliSuiteListener&) = delete;

  // The queue, not owned; before the listener is installed.
  void SetQueue(CliEventQueue* queue) { queue_ = queue; }

  bool OnSuiteStart() override;
  void OnSuiteEnd() override;
  // Waits for the diagnostic gate, also for a null diagnostic, which it then refuses; otherwise
  // returns when the main thread has acknowledged the start.
  bool OnDiagnosticStart(DiagDiagnostic* diagnostic) override;
  void OnDiagnosticEnd() override;
  // Waits for the test gate, also for a null test, which it then refuses.
  bool OnTestStart(DiagDevice* device, DiagDiagnostic* diagnostic, DiagTest* test) override;
  void OnTestEnd(DiagDevice* device, DiagDiagnostic* diagnostic, DiagTest* test,
                 TestStatus status) override;
  bool OnDeviceStart() override;
  void OnDeviceProgress(std::uint32_t percent, std::string text) override;
  void OnDeviceEnd(DiagModule* module, DiagDevice* device, std::string text) override;
  void OnSuiteMessage(std::string text) override;

  // True from the end of a test to the next start of a test, diagnostic or suite.
  bool TestFinished() const { return testFinished_; }
  Tick TestStart() const { return testStart_; }
  Tick SuiteStart() const { return suiteStart_; }
  Tick SuiteEnd() const { return suiteEnd_; }

 private:
  std::atomic<bool> testFinished_{false};
  std::atomic<bool> diagnosticFinished_{false};
  std::atomic<bool> deviceFinished_{false};
  // The rest is the service's. The main thread reads ticks between an event that follows their
  // writing and its answer to that event.
  TestStatus lastStatus_ = 0;
  std::string deviceResult_;    // the text of the last device end
  std::string testName_;        // the test in progress
  std::string diagnosticName_;  // the diagnostic in progress
  Tick diagnosticStart_ = 0;
  Tick diagnosticEnd_ = 0;
  Tick testStart_ = 0;
  Tick testEnd_ = 0;
  Tick deviceStart_ = 0;
  Tick deviceEnd_ = 0;
  Tick suiteStart_ = 0;
  Tick suiteEnd_ = 0;
  Timer* timer_;                    // not owned
  CliEventQueue* queue_ = nullptr;  // not owned; set before the service knows the listener
};
