#pragma once

#include <cstdint>
#include <map>
#include <stop_token>
#include <string>

#include "service/sdk/device.h"
#include "service/sdk/measurement.h"
#include "service/sdk/run_state.h"

namespace orvan::sdk {

// The values that the user gave, by parameter name in lower case; a missing name means the
// parameter's default. Already checked against the test's ParameterSpec list: an integer is decimal
// digits within its range, a boolean "TRUE" or "FALSE".
using ParameterValues = std::map<std::string, std::string>;

// What a running test may touch. Lives as long as the call; the test's own thread.
class TestContext {
 public:
  virtual ~TestContext() = default;
  // Null for the pseudo device.
  virtual const Device* TestedDevice() const = 0;
  virtual const ParameterValues& Parameters() const = 0;
  // A test looks at it at least every 100 ms, and ends with Verdict::Canceled when it is set.
  virtual std::stop_token StopToken() const = 0;
  // Progress, 0 to 100, and a message key for the operator, which may be empty. Cheap.
  virtual void Report(int percent, const std::string& message) = 0;
  void Report(int percent) { Report(percent, {}); }
  // A measured value for the log, at any time of the test. A surrounding without a log drops it.
  virtual void Measure(const Measurement& /*measurement*/) {}
  // The same of a series, whole.
  virtual void MeasureSeries(const MeasurementSeries& /*series*/) {}
  // A line of the log, at any time of the test. What a module's test has for the log beyond 16 MiB
  // is left out, and the log says so.
  virtual void Log(LogLevel /*level*/, const std::string& /*text*/) {}
  // Why the stop token is set; kNone as long as it is not.
  virtual StopReason WhyStop() const { return StopReason::kNone; }
  // The bits of the system events that the service was told of and nobody has cleared since.
  virtual std::uint32_t SystemEvents() const { return 0; }
};

}  // namespace orvan::sdk
