#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/run_driver.h"
#include "frontend/warning_lines.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

// Adds those tests of the diagnostic that run on the device.
void ChooseTests(CliDiagnostic& chosen, DiagDevice* device, bool onlyUnattended) {
  for (DiagTest* test : *chosen.diagnostic->Tests()) {
    std::string name;
    test->Name(name);
    if (!test->AppliesTo(device)) continue;
    if (onlyUnattended && test->NeedsOperator()) continue;
    if (chosen.tests.Find(name) != nullptr) continue;
    CliTest* added = chosen.tests.Add(name);
    added->name = name;
    added->test = test;
  }
}

// Chooses what runs on one device; false when nothing does.
bool ChooseForDevice(const Cli& cli, ModuleSelection& selection, DiagDevice* device) {
  std::string id;
  DeviceSelection& entry = selection.DeviceEntry(device->GetId(id));
  if (!cli.runAllQuick && !cli.runAllExtended && !cli.runAllOnlyUnattended) {
    selection.defaultDiagnostics = true;
    return true;
  }
  const std::vector<DiagDiagnostic*>* offered = selection.module->GetDiagnostics();
  if (offered == nullptr) return false;
  bool found = false;
  for (DiagDiagnostic* diagnostic : *offered) {
    DiagKey key;
    const std::uint32_t kind = diagnostic->Key(key).minor;
    if (!cli.runAllQuick && kind == kDiagnosticKindQuick) continue;
    if (!cli.runAllExtended && kind == kDiagnosticKindExtended) continue;
    auto record = std::make_shared<CliDiagnostic>();
    record->diagnostic = diagnostic;
    record->allDevices = true;
    diagnostic->Name(record->name);
    ChooseTests(*record, device, cli.runAllOnlyUnattended);
    found = found || !record->tests.empty();
    entry.diagnostics.push_back(std::move(record));
  }
  return found;
}

// False when the module has devices and nothing to run on them, which is told then.
bool ChooseForModule(Cli& cli, ModuleSelection& selection) {
  if (selection.HasNoDevices()) return true;
  bool found = false;
  for (DiagDevice* device : *selection.serviceDevices) {
    found = ChooseForDevice(cli, selection, device) || found;
  }
  if (found) return true;
  tarvex::PrintWarning(*cli.view, kKeyNoTestsForRunAll);
  cli.view->PrintNewLine();
  cli.MergeResult(kResultNothingToRun);
  return false;
}

}  // namespace

void Cli::RunAll() {
  if (!Has(flags, CLI_FLAG_RUN_ALL)) return;
  for (const char* line : {tarvex::kSeparator, kKeyExecutingAllModules, tarvex::kSeparator}) {
    view->PrintSentence(line, true);
  }
  view->PrintNewLine();
  if (runAllModules.empty()) {
    tarvex::PrintWarning(*view, kKeyNoModuleLoaded);
    view->PrintNewLine();
    return;
  }
  tarvex::RunModules(*this, runAllModules, [this](ModuleSelection& selection) {
    return ChooseForModule(*this, selection);
  });
}
