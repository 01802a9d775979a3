#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

#include "boundary/orvan_service_listeners.h"
#include "service/core/data_collection.h"
#include "service/core/group_result.h"
#include "service/core/resolved_plan.h"
#include "service/core/run_requests.h"
#include "service/log/log.h"
#include "service/log/log_step.h"
#include "service/sdk/verdict.h"

class SystemExecutionTracker;
namespace tarvex {
class RecordStoreReport;
}  // namespace tarvex

namespace orvan::core {

// What a run needs of the service. All that is pointed to outlives the run.
struct RunSurroundings {
  orvan_service::SuiteListenerView* suite = nullptr;  // null: nobody listens
  orvan_service::TestListenerView* test = nullptr;    // null: nobody listens
  std::stop_token stop;
  const RunRequests* requests = nullptr;
  SystemExecutionTracker* tracker = nullptr;         // null: no execution records are kept
  tarvex::RecordStoreReport* recordStore = nullptr;  // behind the tracker; null: unknown
  DataCollection* collection = nullptr;              // null: nothing is collected
  log::ServiceLog* log = nullptr;
  const log::LogHardware* hardware = nullptr;     // the device in the log; null: the pseudo device
  bool hardwareIsListed = false;                  // the log's run start lists it
  std::function<void(TestStatus)> countForGroup;  // takes every verdict, before its test ends
  std::string version;
  std::int64_t groupId = 0;
  ModuleSource* source = nullptr;
};

// Runs one device's plan and makes the listener calls in their order: suite start, device start;
// for each diagnostic its start, for each test its start, reports and end, the diagnostic's end;
// then device end and suite end. An item whose start call answers false is passed over without its
// end call.
//
// Once stop is requested the running test is told, and each later one starts and ends canceled
// without running. A verdict that a test returned counts as it is.
//
// What the service does not know is invalid: such a diagnostic or test is passed over without a
// call, for a listener would follow the pointer. An unknown module or device ends the suite at
// once.
class Executor {
 public:
  explicit Executor(const RunSurroundings& surroundings);
  void Run(const ResolvedPlan& plan);

 private:
  void RunDevice(const ResolvedPlan& plan);
  void RunDiagnostic(const ResolvedDiagnostic& item);
  void RunTest(DiagnosticAdapter& diagnostic, const ResolvedTest& item);
  // The verdict before the test may run; false: it runs.
  bool IsDecided(const ResolvedTest& item, sdk::ParameterValues& parameters,
                 sdk::Verdict& verdict) const;
  sdk::Verdict Judge(DiagnosticAdapter& diagnostic, const ResolvedTest& item, log::StepLog& step,
                     int& lastPercent);
  // A plan holds what the service does not know.
  void Refuse(const std::string& what);
  void Count(TestStatus status);
  void Record(const TestAdapter& test, const sdk::Verdict& verdict, std::int64_t startMs,
              double seconds);
  std::string DeviceText() const;
  // "MODULE/DIAGNOSTIC/TEST/DEVICE", as the log names a test's step.
  std::string StepName(const DiagnosticAdapter& diagnostic, const TestAdapter& test) const;

  const RunSurroundings& surroundings_;
  orvan_service::SuiteListenerView& suite_;
  orvan_service::TestListenerView& listener_;
  ModuleAdapter* module_ = nullptr;
  const DeviceAdapter* device_ = nullptr;
  WorstVerdict deviceWorst_;
};

}  // namespace orvan::core
