#include "frontend/listings.h"

#include <algorithm>
#include <sstream>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/given_parameters.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
#include "system/outside_text.h"
#include "system/string_handler.h"
#include "views/hdk_io.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace tarvex {

namespace {

constexpr char kCustomParameters[] = "::CUSTOM_PARAM";

// What a parameter takes, behind its name: "blocks=64, Blocks, INTEGER, 1 to 1024". A test that
// says more of its values in `extra` knows better than the range, which is only 32 bits wide.
std::string ParameterText(const TestParameter& parameter, const std::string& label) {
  std::string text = parameter.name + "=" + parameter.initialValue + ", " + label + ", " +
                     ParameterTypeName(parameter.type);
  if (!parameter.extra.empty()) return text + ", " + parameter.extra;
  if (parameter.range[0] == 0 && parameter.range[1] == 0) return text;
  return text + ", " + std::to_string(parameter.range[0]) + " to " +
         std::to_string(parameter.range[1]);
}

// Whether the diagnostic is part of the selection; all are when none was named.
bool IsSelected(const ModuleSelection& selection, const DiagDiagnostic* diagnostic) {
  return selection.diagnostics.empty() ||
         std::any_of(selection.diagnostics.begin(), selection.diagnostics.end(),
                     [diagnostic](const auto& chosen) { return chosen->diagnostic == diagnostic; });
}

// Null when the test applies to none.
DiagDevice* FirstDeviceFor(const std::vector<DiagDevice*>* devices, DiagTest* test) {
  if (devices == nullptr) return nullptr;
  const auto found = std::find_if(devices->begin(), devices->end(),
                                  [test](DiagDevice* device) { return test->AppliesTo(device); });
  return found == devices->end() ? nullptr : *found;
}

bool HasDevice(const std::vector<DiagDevice*>& devices, const std::string& name) {
  return std::any_of(devices.begin(), devices.end(), [&name](DiagDevice* device) {
    std::string id;
    return device->GetId(id) == name;
  });
}

std::string AsTitle(const Cli& cli, const std::string& key) {
  return cli.view->FormatKey(key, true, true, true);
}

void ShowDiagnosticsTitle(const Cli& cli, DiagModule* module) {
  std::string name;
  cli.view->PrintSentence("DIAGNOSTICS - " + module->GetDisplayName(name) + " MODULE", true);
}

void ShowParametersOf(const Cli& cli, const ModuleSelection& selection, DiagTest* test) {
  DiagDevice* device = FirstDeviceFor(selection.serviceDevices, test);
  std::vector<TestParameter> parameters;
  if (device == nullptr) {
    test->DefaultParameters(parameters);
  } else {
    test->GetParameters(parameters, device);
  }
  if (Has(cli.flags, CLI_FLAG_SUPERVISED)) {
    ShowTestRecord(cli, test, device != nullptr, parameters);
    return;
  }
  std::string name;
  cli.view->PrintRaw("  - " + AsTitle(cli, test->Name(name)), true);
  for (const TestParameter& parameter : parameters) {
    cli.view->PrintField(parameter.name, ParameterText(parameter, AsTitle(cli, parameter.label)),
                         true);
  }
}

// One line per parameter: its name, and whether the test knows it on that device.
std::string ValidateOneTest(StringHandler& strings, DiagDevice* device, const CliTest& test) {
  std::vector<TestParameter> known;
  test.test->GetParameters(known, device);
  std::ostringstream lines;
  const char* separator = "";
  for (const auto& [raw, text] : test.parameters) {
    const std::vector<std::string> parts = strings.Tokenize(raw, "=");
    if (parts.empty() || parts.size() > 2) continue;
    const bool isKnown = FindParameter(strings, known, parts[0]) != nullptr;
    lines << separator << kIndent << kIndent << InLine(parts[0]) << ": "
          << (isKnown ? "OK" : kKeyInvalidParameter);
    separator = "\n";
  }
  return lines.str();
}

void ShowValidationOf(const Cli& cli, const ModuleSelection& selection, DiagDevice* device) {
  DeviceInformation information;
  device->GetInformation(information);
  for (const auto& diagnostic : selection.diagnostics) {
    for (const auto& [name, test] : diagnostic->tests) {
      cli.view->PrintRaw(information.name + " - " + AsTitle(cli, name), true);
      cli.view->PrintRaw(ValidateOneTest(*cli.stringHandler, device, *test), true);
    }
  }
}

}  // namespace

void ShowDiagnostics(Cli& cli, ModuleSelection& selection) {
  ShowDiagnosticsTitle(cli, selection.module);
  std::string body;
  bool anyCustom = false;
  for (DiagDiagnostic* diagnostic : *selection.module->GetDiagnostics()) {
    std::string name;
    body += "  - " + AsTitle(cli, diagnostic->Name(name)) + ":\n";
    for (DiagTest* test : *diagnostic->Tests()) {
      DiagKey key;
      const std::string version = VersionText(cli, test->Key(key));
      std::vector<TestParameter> parameters;
      const bool custom = !test->DefaultParameters(parameters).empty();
      test->Name(name);
      if (Has(cli.flags, CLI_FLAG_SUPERVISED)) {
        cli.view->PrintField(name, version + (custom ? kCustomParameters : ""), true);
      }
      body += "\t" + AsTitle(cli, name) + (custom ? "*" : "") + "\n";
      anyCustom = anyCustom || custom;
    }
  }
  cli.view->PrintRaw(body, true);
  if (anyCustom) cli.view->PrintRaw("  *" + AsTitle(cli, kKeyAcceptsCustomParameters), true);
}

void ShowParameters(Cli& cli, ModuleSelection& selection) {
  cli.view->PrintNewLine();
  ShowDiagnosticsTitle(cli, selection.module);
  for (DiagDiagnostic* diagnostic : *selection.module->GetDiagnostics()) {
    if (!IsSelected(selection, diagnostic)) continue;
    std::string name;
    cli.view->PrintRaw("- " + AsTitle(cli, diagnostic->Name(name)), true);
    for (DiagTest* test : *diagnostic->Tests()) ShowParametersOf(cli, selection, test);
  }
  cli.view->PrintNewLine();
}

void ShowValidation(Cli& cli, ModuleSelection& selection) {
  if (selection.HasNoDevices()) {
    PrintWarning(*cli.view, kKeyNoDevicesFound);
    return;
  }
  cli.view->PrintNewLine();
  std::vector<std::string> missing;
  for (const auto& named : selection.devices) {
    if (!HasDevice(*selection.serviceDevices, named.first)) missing.push_back(named.first);
  }
  if (!missing.empty()) PrintWarningList(*cli.view, kKeyDevicesNotFound, missing);
  for (DiagDevice* device : *selection.serviceDevices) {
    std::string id;
    device->GetId(id);
    if (!selection.devices.empty() && selection.devices.Find(id) == nullptr) continue;
    ShowValidationOf(cli, selection, device);
  }
}

}  // namespace tarvex
