#include "service/core/diag_test_adapter.h"

#include "service/core/guard.h"
#include "service/core/module_adapter.h"
#include "service/core/parameters.h"

namespace orvan::core {

bool TestAdapter::AppliesTo(DiagDevice* device) {
  if (device == nullptr) return !record_.appliesTo;
  const DeviceAdapter* known = module_.FindDevice(device);
  if (known == nullptr) return false;
  // So that its tests come to their verdict, which is that they could not be tried.
  if (known->WhyUntestable()) return true;
  return !record_.appliesTo || Guarded(module_.Log(), record_.name + " on " + known->Id(), false,
                                       [&] { return record_.appliesTo(known->Device()); });
}

std::vector<sdk::ParameterSpec> TestAdapter::ParametersOn(const sdk::Device* device) const {
  return device != nullptr && record_.parametersOn ? record_.parametersOn(*device)
                                                   : record_.parameters;
}

std::vector<TestParameter>& TestAdapter::DefaultParameters(std::vector<TestParameter>& out) {
  out = ToTestParameters(record_.parameters);
  return out;
}

std::vector<TestParameter>& TestAdapter::GetParameters(std::vector<TestParameter>& out,
                                                       DiagDevice* device) {
  const DeviceAdapter* known = module_.FindDevice(device);
  out = Guarded(module_.Log(), "parameters of " + record_.name, std::vector<TestParameter>{}, [&] {
    const bool asksDevice = known != nullptr && !known->WhyUntestable().has_value();
    return ToTestParameters(ParametersOn(asksDevice ? &known->Device() : nullptr));
  });
  return out;
}

DiagnosticAdapter::DiagnosticAdapter(const sdk::DiagnosticRecord& record,
                                     const ModuleAdapter& module)
    : record_(record) {
  adapters_.reserve(record.tests.size());
  tests_.reserve(record.tests.size());
  for (const sdk::TestRecord& test : record.tests) {
    adapters_.push_back(std::make_unique<TestAdapter>(test, module));
    tests_.push_back(adapters_.back().get());
  }
}

}  // namespace orvan::core
