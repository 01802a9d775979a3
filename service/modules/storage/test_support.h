#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "service/sdk/module.h"

namespace orvan::storage {

// A context that remembers what a test reports. Report may be watched from another thread.
class RememberingContext final : public sdk::TestContext {
 public:
  RememberingContext(const sdk::Device* device, sdk::ParameterValues parameters)
      : device_(device), parameters_(std::move(parameters)) {}

  const sdk::Device* TestedDevice() const override { return device_; }
  const sdk::ParameterValues& Parameters() const override { return parameters_; }
  std::stop_token StopToken() const override { return stop.get_token(); }
  void Report(int percent, const std::string& message) override {
    percents.push_back(percent);
    if (!message.empty()) messages.push_back(message);
  }

  void Measure(const sdk::Measurement& measurement) override {
    measurements.push_back(measurement);
  }

  std::stop_source stop;
  std::vector<int> percents;
  std::vector<std::string> messages;
  std::vector<sdk::Measurement> measurements;

 private:
  const sdk::Device* device_;
  sdk::ParameterValues parameters_;
};

inline const sdk::TestRecord& FindTest(const std::vector<sdk::DiagnosticRecord>& diagnostics,
                                       const std::string& diagnostic, const std::string& test) {
  for (const sdk::DiagnosticRecord& record : diagnostics) {
    if (record.option != diagnostic) continue;
    for (const sdk::TestRecord& entry : record.tests) {
      if (entry.option == test) return entry;
    }
  }
  throw std::out_of_range("no test " + diagnostic + ' ' + test);
}

}  // namespace orvan::storage
