#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service/sdk/module.h"

// What the unit tests of a module need.
namespace orvan::sdk::testing {

// A context that remembers what a test reports and measures. The thread of the test, until it has
// returned.
class RememberingContext final : public TestContext {
 public:
  explicit RememberingContext(const Device* device, ParameterValues parameters = {})
      : device_(device), parameters_(std::move(parameters)) {}

  const Device* TestedDevice() const override { return device_; }
  const ParameterValues& Parameters() const override { return parameters_; }
  std::stop_token StopToken() const override { return stop.get_token(); }
  void Report(int percent, const std::string& message) override {
    percents.push_back(percent);
    if (!message.empty()) messages.push_back(message);
  }
  void Measure(const Measurement& measurement) override { measurements.push_back(measurement); }

  void Log(LogLevel /*level*/, const std::string& text) override { lines.push_back(text); }
  void MeasureSeries(const MeasurementSeries& one) override { series.push_back(one); }

  // The one measurement of that name. Throws std::out_of_range when there is not exactly one.
  const Measurement& Measured(const std::string& name) const {
    const Measurement* found = nullptr;
    for (const Measurement& measurement : measurements) {
      if (measurement.name != name) continue;
      if (found != nullptr) throw std::out_of_range("more than one measurement " + name);
      found = &measurement;
    }
    if (found == nullptr) throw std::out_of_range("no measurement " + name);
    return *found;
  }

  std::stop_source stop;
  std::vector<int> percents;
  std::vector<std::string> messages;
  std::vector<std::string> lines;  // of the log
  std::vector<Measurement> measurements;
  std::vector<MeasurementSeries> series;

 private:
  const Device* device_;
  ParameterValues parameters_;
};

// A search that remembers what it found.
class RememberingScan final : public ScanContext {
 public:
  explicit RememberingScan(std::stop_token stop = {}) : stop_(std::move(stop)) {}
  void Found(std::unique_ptr<Device> device) override { devices.push_back(std::move(device)); }
  std::stop_token StopToken() const override { return stop_; }

  std::vector<std::unique_ptr<Device>> devices;

 private:
  std::stop_token stop_;
};

// The devices that the module finds. Throws what it throws.
inline std::vector<std::unique_ptr<Device>> DevicesOf(Module& module, std::stop_token stop = {}) {
  RememberingScan scan(std::move(stop));
  module.ScanDevices(scan);
  return std::move(scan.devices);
}

// The test with the option `test` of the diagnostic with the option `diagnostic`. Throws
// std::out_of_range when there is none.
inline const TestRecord& FindTest(const std::vector<DiagnosticRecord>& diagnostics,
                                  const std::string& diagnostic, const std::string& test) {
  for (const DiagnosticRecord& record : diagnostics) {
    if (record.option != diagnostic) continue;
    for (const TestRecord& candidate : record.tests) {
      if (candidate.option == test) return candidate;
    }
  }
  throw std::out_of_range("no test " + diagnostic + ' ' + test);
}

}  // namespace orvan::sdk::testing
