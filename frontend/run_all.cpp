#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

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
  if (Has(flags, CLI_FLAG_SUPERVISED)) Service()->EnableSupervisedRun();
  bool finalResultOpened = false;
  for (auto& [name, selection] : runAllModules) {
    if (selection->module == nullptr) continue;
    ScanModuleDevices(selection.get());
    bool foundSomething = false;
    const bool hasDevices = !selection->HasNoDevices();
    if (hasDevices) {
      for (DiagDevice* device : *selection->serviceDevices) {
        SelectForRunAll(*selection, device, foundSomething);
      }
    }
    if (!foundSomething && hasDevices) {
      tarvex::PrintWarning(*view, kKeyNoTestsForRunAll);
      view->PrintNewLine();
      MergeResult(kResultNothingToRun);
      continue;
    }
    BuildRunPlan(selection.get());
    OpenFinalResult(*selection, finalResultOpened);
    RunModule(selection.get());
    view->PrintNewLine();
  }
  if (finalResultOpened) ShowFinalResult();
}

// Chooses what run-all does on one device.
void Cli::SelectForRunAll(ModuleSelection& selection, DiagDevice* device, bool& foundSomething) {
  std::string id;
  device->GetId(id);
  DeviceSelection& entry = selection.DeviceEntry(id);
  if (!runAllQuick && !runAllExtended && !runAllOnlyUnattended) {
    selection.defaultDiagnostics = true;
    foundSomething = true;
    return;
  }
  const std::vector<DiagDiagnostic*>* offered = selection.module->GetDiagnostics();
  if (offered == nullptr) return;
  for (DiagDiagnostic* diagnostic : *offered) {
    DiagKey key;
    const std::uint32_t kind = diagnostic->Key(key).minor;
    if (!runAllQuick && kind == kDiagnosticKindQuick) continue;
    if (!runAllExtended && kind == kDiagnosticKindExtended) continue;
    auto record = std::make_shared<CliDiagnostic>();
    record->diagnostic = diagnostic;
    record->allDevices = true;
    diagnostic->Name(record->name);
    for (DiagTest* test : *diagnostic->Tests()) {
      std::string name;
      test->Name(name);
      if (!test->AppliesTo(device)) continue;
      if (runAllOnlyUnattended && test->NeedsOperator()) continue;
      if (record->tests.Find(name) != nullptr) continue;
      CliTest* chosen = record->tests.Add(name);
      chosen->name = name;
      chosen->test = test;
      foundSomething = true;
    }
    entry.diagnostics.push_back(std::move(record));
  }
}
