#include "service/core/resolved_plan.h"

namespace orvan::core {
namespace {

ResolvedDiagnostic ResolveItem(const ModuleAdapter& module, const DiagnosticRunItem& item) {
  ResolvedDiagnostic resolved{module.FindDiagnostic(item.diagnostic), {}};
  resolved.tests.reserve(item.tests.size());
  for (const TestRunItem& test : item.tests) {
    const ModuleAdapter::OwnedTest found = module.FindTest(test.test);
    const bool belongs = found.test != nullptr && found.diagnostic == resolved.diagnostic;
    resolved.tests.push_back({found.test, belongs, &test});
  }
  return resolved;
}

}  // namespace

ResolvedPlan ResolvePlan(const std::vector<std::unique_ptr<ModuleAdapter>>& modules,
                         const DiagModule* module, const DiagDevice* device,
                         const std::vector<DiagnosticRunItem>& plan) {
  ResolvedPlan resolved;
  for (const std::unique_ptr<ModuleAdapter>& known : modules) {
    if (known.get() == module) resolved.module = known.get();
  }
  if (resolved.module == nullptr) return resolved;
  resolved.device = resolved.module->FindDevice(device);
  resolved.unknownDevice = device != nullptr && resolved.device == nullptr;
  resolved.diagnostics.reserve(plan.size());
  for (const DiagnosticRunItem& item : plan) {
    resolved.diagnostics.push_back(ResolveItem(*resolved.module, item));
  }
  return resolved;
}

}  // namespace orvan::core
