#pragma once

#include <memory>
#include <vector>

#include "boundary/orvan_service_plan.h"
#include "service/core/module_adapter.h"

namespace orvan::core {

// A caller's plan in which every pointer was looked up in the service's own tables. What is not
// there is null and is never followed.
struct ResolvedTest {
  TestAdapter* test = nullptr;
  bool belongs = false;               // it is one of the diagnostic under which it stands
  const TestRunItem* item = nullptr;  // what the caller gave
};

struct ResolvedDiagnostic {
  DiagnosticAdapter* diagnostic = nullptr;
  std::vector<ResolvedTest> tests;
};

struct ResolvedPlan {
  ModuleAdapter* module = nullptr;
  const DeviceAdapter* device = nullptr;  // null is the pseudo device, unless:
  bool unknownDevice = false;             // the caller's device is none of the module's
  std::vector<ResolvedDiagnostic> diagnostics;
};

// The result points into `plan`, which must outlive it. Time and memory are linear in its size.
ResolvedPlan ResolvePlan(const std::vector<std::unique_ptr<ModuleAdapter>>& modules,
                         const DiagModule* module, const DiagDevice* device,
                         const std::vector<DiagnosticRunItem>& plan);

}  // namespace orvan::core
