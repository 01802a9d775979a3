#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_version.h"
#include "service/sdk/context.h"
#include "service/sdk/device.h"
#include "service/sdk/machine.h"
#include "service/sdk/parameter.h"
#include "service/sdk/scan.h"
#include "service/sdk/tool.h"
#include "service/sdk/verdict.h"

namespace orvan::sdk {

// A test of a diagnostic. Names and labels are message keys.
//
// Its `key` is TestKey's: an identifier, by which the command line finds the test's option, and a
// version, which a supervising program is shown. Its `parameterRule` is read when the command line
// is: with kParametersMandatory a test without values is refused, with kParametersNotWanted values
// are passed on with a warning, and any other value, such as 0, leaves the user free.
struct TestRecord {
  std::string name;      // e.g. "FUNNEL_READ_TEST"
  std::string option;    // e.g. "f"
  std::string longName;  // e.g. "funnel-read"
  std::uint32_t parameterRule = 0;
  DiagKey key;
  bool needsOperator = false;  // a person at the machine; run-all can leave such tests out
  std::vector<ParameterSpec> parameters;
  std::function<bool(const Device&)> appliesTo;  // none: every device
  // Returns a verdict for whatever the hardware does. An exception that leaves it is invalid.
  std::function<Verdict(TestContext&)> run;
  std::string summary;  // one plain line for the help text
  // What the test takes on one device, where ranges or defaults depend on it; none: `parameters`.
  std::function<std::vector<ParameterSpec>(const Device&)> parametersOn = {};
  // Whether `run` may write to a device, or send it a command that does not only read.
  bool mayWrite = false;
};

// One diagnostic: a named list of tests. Its option and its long name are options of the command
// line, so a plug-in that takes one of the program's own, or a letter that cannot be one
// (boundary/reserved_options.h), is refused.
//
// Its `key` is DiagnosticKey's: an identifier, and the kind, by which run-all chooses. Nobody reads
// its `parameterRule`.
struct DiagnosticRecord {
  std::string name;      // e.g. "QUICK_TEST"
  std::string option;    // e.g. "Q"; the first character counts
  std::string longName;  // e.g. "quick"
  std::uint32_t parameterRule = 0;
  DiagKey key;
  std::vector<TestRecord> tests;
  std::string summary;  // one plain line for the help text
};

// A module's help in plain text: its name and summary, the rows of its diagnostics with their
// parameters, which the service adds, and the example.
struct ModuleHelp {
  std::string summary;  // one line behind the name, e.g. "reads disks."
  std::string example = {};  // arguments behind the module's, e.g. "-Q 0"; may be empty
  std::optional<std::string> whole = {};  // the whole help, in place of all that
};

// A diagnostic module. The service calls it on one thread at a time.
class Module {
 public:
  virtual ~Module() = default;
  virtual std::string Name() const = 0;
  virtual ProductVersion Version() const = 0;
  virtual ModuleHelp Help() const = 0;
  // In display order; the same at every call.
  virtual const std::vector<DiagnosticRecord>& Diagnostics() const = 0;
  virtual const std::vector<ToolRecord>& Tools() const = 0;
  // Finds the devices. Long; ends early when its stop is set. No device is one that is not there:
  // one that cannot be looked at takes its place with WhyUntestable. Throws when the search could
  // not be made or not go on; what() is the reason, in plain words for people. What was found
  // before counts, and one untestable device stands for all others.
  virtual void ScanDevices(ScanContext& scan) = 0;
};

// What a module gets when it is made.
struct ModuleEnvironment {
  // The module's one way to the machine; outlives it. In the program's own process, where a module
  // is made for its table alone, each access throws std::logic_error.
  Machine* machine = nullptr;
  // The service setting file, "section/key" to value, e.g. "storage/include_loop" to "1".
  std::map<std::string, std::string> settings;
  // Where the service's own library stands; its programs lie below it in "orvan".
  std::string libraryDirectory;
};

}  // namespace orvan::sdk
