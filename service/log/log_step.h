#pragma once

#include <string>

#include "service/log/log.h"
#include "service/sdk/context.h"
#include "service/sdk/run_state.h"
#include "service/sdk/verdict.h"

namespace orvan::log {

// The log's share of one test on one device: a step from its construction to End. Message keys end
// here: what they stand for is written. Nothing throws but for want of memory. The test's own
// thread.
class StepLog {
 public:
  // `name` is "MODULE/DIAGNOSTIC/TEST/DEVICE", the last part absent for the pseudo device.
  // `hardware` is the tested device, if any, and `isListed` tells that the run's start lists it.
  StepLog(ServiceLog& log, const std::string& name, const LogHardware* hardware, bool isListed);

  // The values that the user gave.
  void Parameters(const sdk::ParameterValues& values);
  // A message key that the operator saw.
  void Message(const std::string& message);
  // A line that the test itself writes.
  void Text(sdk::LogLevel level, const std::string& text);
  void Measure(const sdk::Measurement& measurement);
  // All of it, or nothing.
  void Measure(const sdk::MeasurementSeries& series);
  // An exception left the test.
  void Exception(const std::string& text);
  // The verdict of `test`, and the end of the step.
  void End(const std::string& test, const sdk::Verdict& verdict);

 private:
  ServiceLog& log_;
  std::uint64_t step_;
  std::uint64_t nextSeries_ = 0;
  std::string hardwareId_;  // empty for what the run's start does not list
  bool hasError_ = false;
};

}  // namespace orvan::log
