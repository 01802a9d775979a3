#include <array>

#include "boundary/hostlayer_number_handler.h"
#include "boundary/orvan_service.h"
#include "boundary/orvan_service_version.h"
#include "frontend/cadence.h"
#include "frontend/cli.h"
#include "frontend/help.h"
#include "frontend/message_keys.h"
#include "frontend/thread_completion.h"
#include "frontend/thread_manager.h"
#include "frontend/warning_lines.h"
#include "system/string_handler.h"
#include "views/orvan_stdio.h"

void Cli::ShowInformation() {
  if (!Has(flags, CLI_FLAG_INFORMATION)) return;
  const bool warnOfNoModules = selectedModules.empty() && modules->empty();
  if (Has(flags, CLI_FLAG_HELP)) {
    if (warnOfNoModules) {
      tarvex::PrintWarning(*view, kKeyNoAvailableModules);
      view->PrintNewLine();
    }
    ShowGeneralHelp();
  }
  if (Has(flags, CLI_FLAG_VERSION)) {
    if (warnOfNoModules) {
      tarvex::PrintWarning(*view, kKeyNoModuleLoaded);
      view->PrintNewLine();
    }
    ShowProgramVersion();
    if (selectedModules.empty()) ShowModuleVersions();
  }
  if (Has(flags, CLI_FLAG_LIST_MODULES)) ShowModuleList();
  bool anyModule = false;
  for (auto& [name, selection] : selectedModules) {
    if (selection->module == nullptr) continue;
    anyModule = true;
    ShowModuleInformation(*selection);
  }
  if (!selectedModules.empty() && !anyModule) ShowModuleVersions();
}

// The listings of one module, in the order in which they are shown whatever the order of options.
void Cli::ShowModuleInformation(ModuleSelection& selection) {
  struct Listing {
    std::uint32_t info;
    void (Cli::*show)(ModuleSelection& selection);
  };
  static constexpr std::array kListings{
      Listing{kInfoHelp, &Cli::ShowModuleHelp},
      Listing{kInfoVersion, &Cli::ShowVersionOf},
      Listing{kInfoDevices, &Cli::ShowDevices},
      Listing{kInfoTools, &Cli::ShowTools},
      Listing{kInfoDiagnostics, &Cli::ShowDiagnostics},
      Listing{kInfoParameters, &Cli::ShowParameters},
      Listing{kInfoValidate, &Cli::ShowValidation},
  };
  for (const Listing& listing : kListings) {
    if (Has(selection.infoFlags, listing.info)) (this->*listing.show)(selection);
  }
}

void Cli::ShowModuleHelp(ModuleSelection& selection) {
  if (!Has(flags, CLI_FLAG_HELP) || view == nullptr) return;
  std::string text;
  view->PrintRaw("> ", false);
  view->PrintRaw(selection.module->GetHelpText(text), true);
  view->PrintNewLine();
}

std::string Cli::VersionText(const ProductVersion& version) const {
  return numberHandler->NumberToString(version.Major()) + "." +
         numberHandler->NumberToString(version.Minor()) + "." +
         numberHandler->NumberToString(version.Patch()) + "." +
         numberHandler->NumberToString(version.Build());
}

void Cli::ShowProgramVersion() {
  view->PrintTitle("  |C|L|I - VERSION " + VersionText(*productVersion), true);
}

void Cli::ShowModuleVersion(DiagModule* module) {
  std::string name;
  module->GetDisplayName(name);
  std::string line = "  " + name + " - VERSION " + VersionText(*module->Version());
  stringHandler->ToLower(line);
  view->PrintRaw(line, true);
}

void Cli::ShowVersionOf(ModuleSelection& selection) {
  ShowModuleVersion(selection.module);
}

void Cli::ShowModuleVersions() {
  for (DiagModule* module : *modules) ShowModuleVersion(module);
}

void Cli::ShowModuleList() {
  if (modules->empty()) {
    tarvex::PrintWarning(*view, kKeyNoModuleLoaded);
    view->PrintNewLine();
    return;
  }
  view->PrintRaw("> Available Modules", true);
  for (DiagModule* module : *modules) {
    std::string name;
    // Underscores stay, so that what is shown is what the module option takes.
    name = view->FormatKey(module->GetDisplayName(name), false, false, false);
    stringHandler->ToLower(name);
    if (Has(flags, CLI_FLAG_SUPERVISED)) {
      view->PrintField("MODULE_NAME", name, true);
    } else {
      view->PrintRaw("  - " + name, true);
    }
  }
  ShowModuleListHint(*view);
}

void Cli::ScanModuleDevices(ModuleSelection* selection) {
  if (selection == nullptr || selection->module == nullptr) return;
  std::string name;
  selection->module->GetDisplayName(name);
  ThreadManager& threads = ThreadManager::Instance();
  threads.SetTarget(selection->module);
  threads.StartScan(threadStatus.get());
  view->ShowDeviceScan(name, false);
  while (!threadStatus->WaitDone(kCadence)) view->ShowDeviceScan(name, false);
  selection->serviceDevices = selection->module->GetDevices();
  view->ShowDeviceScan(name, true);
}

void Cli::ShowTools(ModuleSelection& selection) {
  selection.tools = selection.module->Tools();
  if (!Has(flags, CLI_FLAG_LIST_TOOLS) || view == nullptr) return;
  std::string name;
  selection.module->GetDisplayName(name);
  view->PrintSentence(name + " tools:", true);
  if (selection.tools == nullptr || selection.tools->empty()) {
    view->PrintSentence(kKeyNoTools, true);
    return;
  }
  for (DiagTool* tool : *selection.tools) ShowToolHint(tool, name);
}
