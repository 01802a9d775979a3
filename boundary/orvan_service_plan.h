#pragma once

#include <set>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

class DiagDevice;
class DiagDiagnostic;
class DiagTest;

// One test of a plan.
struct TestRunItem {
  DiagTest* test = nullptr;               // owned by the service
  std::set<std::string> rawParameters;    // the "name=value" texts as the user gave them
  std::vector<TestParameter> parameters;  // what they came to; empty: the test's own defaults
};

// One diagnostic of a plan with the tests to run.
struct DiagnosticRunItem {
  DiagDiagnostic* diagnostic = nullptr;  // owned by the service
  std::vector<TestRunItem> tests;
};

// All that runs on one device.
struct DeviceRunPlan {
  DiagDevice* device = nullptr;  // owned by the service; null is the pseudo device
  std::vector<DiagnosticRunItem> diagnostics;
};
