#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boundary/export.h"
#include "boundary/orvan_service_objects.h"
#include "boundary/orvan_service_plan.h"

class OrvanSettings;

namespace orvan_service {
class SuiteListenerView;
class TestListenerView;
class ToolListenerView;
}  // namespace orvan_service

// The diagnostic service: owns tests, verdicts and their order; never prints, never parses a
// command line. Operations named ReservedN keep the places of operations that the front end does
// not call.
class OrvanService {
 public:
  // Loads all modules. The vector and what it points to stay owned by the service. Null when
  // nothing can be loaded at all; an empty vector is no failure. Service thread.
  virtual std::vector<DiagModule*>* LoadModules(int reserved) = 0;
  virtual void Reserved1() {}
  virtual void Reserved2() {}
  virtual void Reserved3() {}
  virtual void Reserved4() {}
  // Installs the listener of the following runs; null takes it out. Not during a run.
  virtual void SetSuiteListener(orvan_service::SuiteListenerView* listener) = 0;
  virtual void Reserved6() {}
  virtual void SetTestListener(orvan_service::TestListenerView* listener) = 0;
  virtual void Reserved8() {}
  // Runs one device's plan and returns when it is over, after the suite's end was reported.
  // `device` may be null (pseudo device). Service thread.
  virtual void ExecuteDiagnostics(DiagModule* module, DiagDevice* device,
                                  std::vector<DiagnosticRunItem> plan) = 0;
  // Runs a tool; throws what ended it, once it is over. `listener` may be null. Any one thread.
  virtual void RunTool(DiagTool* tool, orvan_service::ToolListenerView* listener,
                       std::vector<DiagDevice*> devices) = 0;
  // Asks a running tool to stop. Any thread.
  virtual void AbortTool(DiagTool* tool) = 0;
  // Asks the running diagnostics to stop. Does not wait. Any thread, any number of times. The
  // arguments are those of the host's signal callback; nothing depends on them.
  virtual void AbortExecution(int signal = 0, std::uintptr_t first = 0,
                              std::uintptr_t second = 0) = 0;
  // Tells of one system event bit; 0 tells nothing. Any thread.
  virtual void NotifySystemEvent(std::uint32_t bit) = 0;
  virtual void ClearSystemEvents() = 0;
  virtual void Reserved15() {}
  virtual void Reserved16() {}
  // Opens the final result of a run. `groupId` is its start in seconds since the epoch, unless the
  // user named a group. Throws InvalidAppKey.
  virtual void BeginFinalResult(std::int64_t groupId, const CallerInfo& caller) = 0;
  // Writes the text shown as the final result code, at most `size` bytes.
  virtual void GetFinalResultCode(std::string& text, int size) = 0;
  // Moves the service's logs to a folder.
  virtual void SetLogPath(const std::string& path) = 0;
  virtual void Reserved20() {}
  virtual void Reserved21() {}
  virtual void Reserved22() {}
  virtual void Reserved23() {}
  virtual void Reserved24() {}
  // Told before a module runs whether its device vector is empty.
  virtual void SetNoDevicesMode(bool flag) = 0;
  // A supervising program reads the results of this run.
  virtual void EnableSupervisedRun() = 0;
  // Takes the settings. Throws FailedToVisitLocalCache, and during runs InvalidAppKey.
  virtual void ApplySettings(const OrvanSettings& settings) = 0;

 protected:
  ~OrvanService() = default;
};

// The size that the front end passes to GetFinalResultCode.
inline constexpr int kFinalResultCodeSize = 87;

// The process-wide service, made by the first call; null when it can't be made. Any thread.
TARVEX_EXPORT OrvanService* GetOrvanServiceInstance();
// Ends the service; every pointer that came from it is void afterwards.
TARVEX_EXPORT void ReleaseOrvanServiceInstance();
