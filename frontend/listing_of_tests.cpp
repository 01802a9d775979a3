#include <algorithm>
#include <sstream>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
#include "system/outside_text.h"
#include "system/string_handler.h"
#include "views/hdk_io.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

constexpr char kCustomParameters[] = "::CUSTOM_PARAM";

// What a parameter takes, behind its name: "blocks=64, Blocks, INTEGER, 1 to 1024". A test that
// says more of its values in `extra` knows better than the range, which is only 32 bits wide.
std::string ParameterText(const TestParameter& parameter, const std::string& label) {
  std::string text = parameter.name + "=" + parameter.initialValue + ", " + label + ", " +
                     tarvex::ParameterTypeName(parameter.type);
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

}  // namespace

void Cli::ShowDiagnosticsTitle(DiagModule* module) {
  std::string name;
  view->PrintSentence("DIAGNOSTICS - " + module->GetDisplayName(name) + " MODULE", true);
}

void Cli::ShowDiagnostics(ModuleSelection& selection) {
  if (!Has(flags, CLI_FLAG_LIST_DIAGNOSTICS) || view == nullptr) return;
  const auto title = [this](const std::string& key) {
    return view->FormatKey(key, true, true, true);
  };
  ShowDiagnosticsTitle(selection.module);
  std::string body;
  bool anyCustom = false;
  for (DiagDiagnostic* diagnostic : *selection.module->GetDiagnostics()) {
    std::string name;
    body += "  - " + title(diagnostic->Name(name)) + ":\n";
    for (DiagTest* test : *diagnostic->Tests()) {
      DiagKey key;
      const std::string version = KeyVersionText(test->Key(key));
      std::vector<TestParameter> parameters;
      const bool custom = !test->DefaultParameters(parameters).empty();
      test->Name(name);
      if (Has(flags, CLI_FLAG_SUPERVISED)) {
        view->PrintField(name, version + (custom ? kCustomParameters : ""), true);
      }
      body += "\t" + title(name) + (custom ? "*" : "") + "\n";
      anyCustom = anyCustom || custom;
    }
  }
  view->PrintRaw(body, true);
  if (anyCustom) view->PrintRaw("  *" + title(kKeyAcceptsCustomParameters), true);
}

// Every test of the selected diagnostics with the parameters that it takes. What the first device
// that the test applies to offers is shown; without such a device, what the test takes at all.
void Cli::ShowParameters(ModuleSelection& selection) {
  if (!Has(flags, CLI_FLAG_LIST_PARAMETERS) || view == nullptr) return;
  ScanModuleDevices(&selection);
  view->PrintNewLine();
  ShowDiagnosticsTitle(selection.module);
  for (DiagDiagnostic* diagnostic : *selection.module->GetDiagnostics()) {
    if (!IsSelected(selection, diagnostic)) continue;
    std::string name;
    view->PrintRaw("- " + view->FormatKey(diagnostic->Name(name), true, true, true), true);
    for (DiagTest* test : *diagnostic->Tests()) ShowParametersOf(selection, test);
  }
  view->PrintNewLine();
}

void Cli::ShowParametersOf(const ModuleSelection& selection, DiagTest* test) {
  DiagDevice* device = FirstDeviceFor(selection.serviceDevices, test);
  std::vector<TestParameter> parameters;
  if (device == nullptr) {
    test->DefaultParameters(parameters);
  } else {
    test->GetParameters(parameters, device);
  }
  if (Has(flags, CLI_FLAG_SUPERVISED)) {
    ShowTestRecord(test, device != nullptr, parameters);
    return;
  }
  std::string name;
  view->PrintRaw("  - " + view->FormatKey(test->Name(name), true, true, true), true);
  for (const TestParameter& parameter : parameters) {
    const std::string label = view->FormatKey(parameter.label, true, true, true);
    view->PrintField(parameter.name, ParameterText(parameter, label), true);
  }
}

void Cli::ShowValidation(ModuleSelection& selection) {
  if (!Has(flags, CLI_FLAG_VALIDATE) || view == nullptr) return;
  ScanModuleDevices(&selection);
  if (selection.HasNoDevices()) {
    tarvex::PrintWarning(*view, kKeyNoDevicesFound);
    return;
  }
  view->PrintNewLine();
  std::vector<std::string> missing;
  for (const auto& named : selection.devices) {
    if (!HasDevice(*selection.serviceDevices, named.first)) missing.push_back(named.first);
  }
  if (!missing.empty()) tarvex::PrintWarningList(*view, kKeyDevicesNotFound, missing);
  for (DiagDevice* device : *selection.serviceDevices) {
    std::string id;
    device->GetId(id);
    if (!selection.devices.empty() && selection.devices.Find(id) == nullptr) continue;
    DeviceInformation information;
    device->GetInformation(information);
    for (const auto& diagnostic : selection.diagnostics) {
      for (const auto& [name, test] : diagnostic->tests) {
        view->PrintRaw(information.name + " - " + view->FormatKey(name, true, true, true), true);
        view->PrintRaw(ValidateOneTest(device, *test), true);
      }
    }
  }
}

// One line per parameter: its name, and whether the test knows it on that device.
std::string Cli::ValidateOneTest(DiagDevice* device, const CliTest& test) {
  std::vector<TestParameter> known;
  test.test->GetParameters(known, device);
  std::ostringstream lines;
  const char* separator = "";
  for (const auto& [raw, text] : test.parameters) {
    const std::vector<std::string> parts = stringHandler->Tokenize(raw, "=");
    if (parts.empty() || parts.size() > 2) continue;
    const bool isKnown = std::any_of(
        known.begin(), known.end(),
        [&](const TestParameter& parameter) { return Upper(parameter.name) == Upper(parts[0]); });
    lines << separator << tarvex::kIndent << tarvex::kIndent << tarvex::InLine(parts[0]) << ": "
          << (isKnown ? "OK" : kKeyInvalidParameter);
    separator = "\n";
  }
  return lines.str();
}
