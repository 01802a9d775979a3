#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_status.h"
#include "boundary/orvan_service_version.h"
#include "service/sdk/module.h"

// What a scenario file says, ready to be played.
namespace orvan::scenario {

struct ReportScript {
  std::chrono::milliseconds at{0};  // from the test's start
  std::int32_t percent = 0;
  std::string message;
};

struct OutcomeScript {
  TestStatus status = kTestPassed;
  std::chrono::milliseconds duration{0};
  std::vector<ReportScript> reports;
};

struct TestScript {
  OutcomeScript outcome;                          // also that of the pseudo device
  std::map<std::string, OutcomeScript> outcomes;  // by device id; wins over `outcome`
};

struct StepScript {
  std::chrono::milliseconds after{0};  // from the step before
  std::map<std::string, std::vector<std::string>> set;
  std::string event;  // empty: none
};

struct ToolScript {
  std::set<std::string> withdraws;  // device ids
  std::vector<StepScript> run;
  std::vector<StepScript> abort;
};

struct DeviceScript {
  std::string id;
  std::string udi;
  std::string result;
  DeviceInformation information;
  std::vector<DiagResource> resources;
};

struct ModuleScript {
  std::string name;
  ProductVersion version{1, 0, 0, 0};
  std::string help;
  std::chrono::milliseconds scan{0};
  std::vector<sdk::DiagnosticRecord> diagnostics;
  std::vector<sdk::ToolRecord> tools;
  std::vector<DeviceScript> devices;
};

// An exception that an operation of the service throws every time.
enum class ThrownError { kNone, kInvalidAppKey, kFailedToVisitLocalCache };

struct Scenario {
  std::optional<std::string> trace;  // as the file gives it
  bool loadsModules = true;
  ThrownError applySettings = ThrownError::kNone;
  ThrownError beginFinalResult = ThrownError::kNone;
  std::string finalResultCode = "SCENARIO";
  std::vector<ModuleScript> modules;
};

}  // namespace orvan::scenario
