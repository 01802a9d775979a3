#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_version.h"
#include "service/sdk/context.h"
#include "service/sdk/device.h"
#include "service/sdk/parameter.h"
#include "service/sdk/tool.h"
#include "service/sdk/verdict.h"

namespace orvan::sdk {

// One test: one row of a module's table. Names and labels are message keys.
struct TestRecord {
  std::string name;      // e.g. "FUNNEL_READ_TEST"
  std::string option;    // e.g. "f"
  std::string longName;  // e.g. "funnel-read"
  std::uint32_t parameterRule = 0;
  DiagKey key;  // version in major, minor, build; the identifier is unique in the module
  bool needsOperator = false;
  std::vector<ParameterSpec> parameters;
  std::function<bool(const Device&)> appliesTo;  // none: every device
  // Returns a verdict for whatever the hardware does. An exception that leaves it is invalid.
  std::function<Verdict(TestContext&)> run;
  std::string summary;  // one plain line for the help text
  // What the test takes on one device, where ranges or defaults depend on it; none: `parameters`.
  std::function<std::vector<ParameterSpec>(const Device&)> parametersOn = {};
};

// One diagnostic: a named list of tests.
struct DiagnosticRecord {
  std::string name;      // e.g. "QUICK_TEST"
  std::string option;    // e.g. "Q"
  std::string longName;  // e.g. "quick"
  std::uint32_t parameterRule = 0;
  DiagKey key;  // the kind in minor; the identifier is unique in the module
  std::vector<TestRecord> tests;
  std::string summary;  // one plain line for the help text
};

// A diagnostic module. The service calls it on one thread at a time.
class Module {
 public:
  virtual ~Module() = default;
  virtual std::string Name() const = 0;
  virtual ProductVersion Version() const = 0;
  virtual std::string HelpText() const = 0;
  // In display order; the same at every call.
  virtual const std::vector<DiagnosticRecord>& Diagnostics() const = 0;
  virtual const std::vector<ToolRecord>& Tools() const = 0;
  // Finds the devices, in the order of their ids. Long; ends early when stop is requested. No
  // device is one that is not there: one that cannot be looked at takes its place with
  // WhyUntestable. Throws when nothing could be looked at; what() is the reason, in plain words for
  // people. One untestable device then stands for all of them.
  virtual std::vector<std::unique_ptr<Device>> ScanDevices(std::stop_token stop) = 0;
};

// What a module gets when it is made.
struct ModuleEnvironment {
  // The service setting file, "section/key" to value, e.g. "storage/include_loop" to "1".
  std::map<std::string, std::string> settings;
  // Where the service's own library stands; helper programs lie below it in "orvan".
  std::string libraryDirectory;
};

}  // namespace orvan::sdk
