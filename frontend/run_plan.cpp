#include <algorithm>
#include <unordered_map>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
#include "system/string_handler.h"
#include "views/orvan_stdio.h"

namespace {

// The first device of each id.
std::unordered_map<std::string, DiagDevice*> ById(const std::vector<DiagDevice*>* devices) {
  std::unordered_map<std::string, DiagDevice*> found;
  if (devices == nullptr) return found;
  std::string id;
  for (DiagDevice* device : *devices) found.emplace(device->GetId(id), device);
  return found;
}

}  // namespace

void Cli::BuildRunPlan(ModuleSelection* selection) {
  if (selection == nullptr || selection->module == nullptr) return;
  AddDefaultDiagnostic(*selection);
  SpreadDiagnostics(*selection);
  const auto devices = ById(selection->serviceDevices);
  for (auto& [name, entry] : selection->devices) {
    const auto found = devices.find(name);
    PlanDevice(*selection, *entry, found == devices.end() ? nullptr : found->second);
  }
}

void Cli::AddDefaultDiagnostic(ModuleSelection& selection) {
  const std::vector<DiagDiagnostic*>* offered = selection.module->GetDiagnostics();
  if (!selection.defaultDiagnostics || offered == nullptr || offered->empty()) return;
  auto record = std::make_shared<CliDiagnostic>();
  record->diagnostic = offered->front();
  record->allTests = true;
  record->allDevices = true;
  record->diagnostic->Name(record->name);
  selection.diagnostics.push_back(std::move(record));
}

// Gives each diagnostic that names no device to the devices that the line names, or to all.
void Cli::SpreadDiagnostics(ModuleSelection& selection) {
  const auto giveTo = [&selection](const std::string& name,
                                   const std::shared_ptr<CliDiagnostic>& diagnostic) {
    selection.DeviceEntry(name).diagnostics.push_back(diagnostic);
  };
  for (const auto& diagnostic : selection.diagnostics) {
    if (!diagnostic->allDevices) continue;
    if (selection.devicesNamed) {
      for (auto& [name, entry] : selection.devices) {
        if (entry->namedForModule) entry->diagnostics.push_back(diagnostic);
      }
      continue;
    }
    if (!selection.HasNoDevices()) {
      std::string id;
      for (DiagDevice* device : *selection.serviceDevices) giveTo(device->GetId(id), diagnostic);
    } else if (Has(flags, CLI_FLAG_SUPERVISED)) {
      giveTo(kNoDeviceFound, diagnostic);
    }
  }
}

void Cli::PlanDevice(ModuleSelection& selection, DeviceSelection& entry, DiagDevice* device) {
  DeviceRunPlan plan;
  plan.device = device;
  if (plan.device == nullptr) {
    selection.missingDevices.push_back(entry.name);
    if (!Has(flags, CLI_FLAG_SUPERVISED)) return;
  }
  std::vector<std::shared_ptr<CliDiagnostic>> chosen = entry.diagnostics;
  if (entry.namedForModule) {
    chosen = selection.diagnostics;
    entry.diagnostics.clear();
  }
  for (const auto& diagnostic : chosen) {
    DiagnosticRunItem item;
    item.diagnostic = diagnostic->diagnostic;
    if (diagnostic->allTests) {
      if (!PlanAllTests(*diagnostic, plan.device, entry.name, item.tests)) continue;
    } else {
      PlanNamedTests(*diagnostic, plan.device, item.tests);
    }
    // The first mention of a diagnostic on a device wins.
    const bool mentioned = std::any_of(
        plan.diagnostics.begin(), plan.diagnostics.end(),
        [&item](const DiagnosticRunItem& other) { return other.diagnostic == item.diagnostic; });
    if (!mentioned) plan.diagnostics.push_back(std::move(item));
  }
  selection.plans.push_back(std::move(plan));
}

// False when as many tests refuse the device as the diagnostic has, which may be none; the warning
// is printed then.
bool Cli::PlanAllTests(const CliDiagnostic& diagnostic, DiagDevice* device,
                       const std::string& deviceName, std::vector<TestRunItem>& items) {
  const std::vector<DiagTest*>& tests = *diagnostic.diagnostic->Tests();
  items.reserve(tests.size());
  for (DiagTest* test : tests) {
    if (!Has(flags, CLI_FLAG_SUPERVISED) && !test->AppliesTo(device)) continue;
    TestRunItem item;
    item.test = test;
    items.push_back(std::move(item));
  }
  if (!items.empty()) return true;
  tarvex::PrintWarningTag(*view);
  view->PrintSentence(diagnostic.name, false);
  view->PrintRaw(kTextNotSupportedForDevice + deviceName, true);
  return false;
}

void Cli::PlanNamedTests(const CliDiagnostic& diagnostic, DiagDevice* device,
                         std::vector<TestRunItem>& items) {
  items.reserve(diagnostic.tests.size());
  for (const auto& [name, chosen] : diagnostic.tests) {
    std::vector<TestParameter> known;
    chosen->test->GetParameters(known, device);
    TestRunItem item;
    item.test = chosen->test;
    item.parameters = MergeParameters(chosen->parameters, known);
    for (const auto& [raw, text] : chosen->parameters) item.rawParameters.insert(raw);
    items.push_back(std::move(item));
  }
}

// The parameters that the user gave, as records: the test's own with the value written in, or new
// ones for names that the test does not know. The new ones join `known`.
std::vector<TestParameter> Cli::MergeParameters(const std::map<std::string, std::string>& raw,
                                                std::vector<TestParameter>& known) {
  std::vector<TestParameter> given;
  for (const auto& [word, text] : raw) {
    const std::vector<std::string> parts = stringHandler->Split(word, '=');
    if (parts.empty() || parts.size() > 2) continue;
    const std::string value = parts.size() == 2 ? parts[1] : std::string();
    const auto found = std::find_if(known.begin(), known.end(), [&](const TestParameter& one) {
      return Upper(one.name) == Upper(parts[0]);
    });
    if (found != known.end()) {
      found->value = found->type == kParameterBoolean ? Upper(value) : value;
      given.push_back(*found);
      continue;
    }
    TestParameter unknown;
    unknown.name = unknown.label = parts[0];
    unknown.initialValue = unknown.value = value;
    unknown.type = kParameterUnknown;
    known.push_back(unknown);
    given.push_back(std::move(unknown));
  }
  return given;
}

std::size_t Cli::CountPlannedTests(const std::vector<DeviceRunPlan>& plans) {
  std::size_t count = 0;
  for (const DeviceRunPlan& plan : plans) {
    for (const DiagnosticRunItem& item : plan.diagnostics) count += item.tests.size();
  }
  return count;
}

bool Cli::HasPlannedTests(const ModuleSelection* selection) const {
  if (selection == nullptr || selection->module == nullptr) return false;
  if (selection->HasNoDevices() && !Has(flags, CLI_FLAG_SUPERVISED)) return false;
  return CountPlannedTests(selection->plans) > 0;
}
