#include <algorithm>
#include <unordered_map>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/given_parameters.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
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

// Writes the plans of one module from what the user chose and what the machine has.
class RunPlanner {
 public:
  // A supervised run also plans devices that are not there, and takes tests without asking them.
  RunPlanner(ModuleSelection& selection, OrvanStdio& view, StringHandler& strings, bool supervised)
      : selection_(selection), view_(view), strings_(strings), supervised_(supervised) {}

  // Fills `plans` and `missingDevices` of the selection, which has a module.
  void Build() {
    AddDefaultDiagnostic();
    SpreadDiagnostics();
    const auto devices = ById(selection_.serviceDevices);
    for (auto& [name, entry] : selection_.devices) {
      const auto found = devices.find(name);
      PlanDevice(*entry, found == devices.end() ? nullptr : found->second);
    }
  }

 private:
  void AddDefaultDiagnostic() {
    const std::vector<DiagDiagnostic*>* offered = selection_.module->GetDiagnostics();
    if (!selection_.defaultDiagnostics || offered == nullptr || offered->empty()) return;
    auto record = std::make_shared<CliDiagnostic>();
    record->diagnostic = offered->front();
    record->allTests = true;
    record->allDevices = true;
    record->diagnostic->Name(record->name);
    selection_.diagnostics.push_back(std::move(record));
  }

  // Gives each diagnostic that names no device to the devices that the line names, or to all.
  void SpreadDiagnostics() {
    std::vector<std::string> names;
    if (!selection_.HasNoDevices()) {
      for (DiagDevice* device : *selection_.serviceDevices) device->GetId(names.emplace_back());
    } else if (supervised_) {
      names.emplace_back(kNoDeviceFound);
    }
    for (const auto& diagnostic : selection_.diagnostics) {
      if (!diagnostic->allDevices) continue;
      if (selection_.devicesNamed) {
        for (auto& [name, entry] : selection_.devices) {
          if (entry->namedForModule) entry->diagnostics.push_back(diagnostic);
        }
        continue;
      }
      for (const std::string& name : names) {
        selection_.DeviceEntry(name).diagnostics.push_back(diagnostic);
      }
    }
  }

  void PlanDevice(DeviceSelection& entry, DiagDevice* device) {
    DeviceRunPlan plan;
    plan.device = device;
    if (plan.device == nullptr) {
      selection_.missingDevices.push_back(entry.name);
      if (!supervised_) return;
    }
    std::vector<std::shared_ptr<CliDiagnostic>> chosen = entry.diagnostics;
    if (entry.namedForModule) {
      chosen = selection_.diagnostics;
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
    selection_.plans.push_back(std::move(plan));
  }

  // False when as many tests refuse the device as the diagnostic has, which may be none; the
  // warning is printed then.
  bool PlanAllTests(const CliDiagnostic& diagnostic, DiagDevice* device,
                    const std::string& deviceName, std::vector<TestRunItem>& items) {
    const std::vector<DiagTest*>& tests = *diagnostic.diagnostic->Tests();
    items.reserve(tests.size());
    for (DiagTest* test : tests) {
      if (!supervised_ && !test->AppliesTo(device)) continue;
      TestRunItem item;
      item.test = test;
      items.push_back(std::move(item));
    }
    if (!items.empty()) return true;
    tarvex::PrintWarningTag(view_);
    view_.PrintSentence(diagnostic.name, false);
    view_.PrintRaw(kTextNotSupportedForDevice + deviceName, true);
    return false;
  }

  void PlanNamedTests(const CliDiagnostic& diagnostic, DiagDevice* device,
                      std::vector<TestRunItem>& items) {
    items.reserve(diagnostic.tests.size());
    for (const auto& [name, chosen] : diagnostic.tests) {
      std::vector<TestParameter> known;
      chosen->test->GetParameters(known, device);
      TestRunItem item;
      item.test = chosen->test;
      item.parameters = tarvex::MergeParameters(strings_, chosen->parameters, known);
      for (const auto& [raw, text] : chosen->parameters) item.rawParameters.insert(raw);
      items.push_back(std::move(item));
    }
  }

  ModuleSelection& selection_;
  OrvanStdio& view_;
  StringHandler& strings_;
  const bool supervised_;
};

}  // namespace

void Cli::BuildRunPlan(ModuleSelection* selection) {
  if (selection == nullptr || selection->module == nullptr) return;
  RunPlanner(*selection, *view, *stringHandler, Has(flags, CLI_FLAG_SUPERVISED)).Build();
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
