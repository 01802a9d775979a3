#include "frontend/listings.h"

#include <array>

#include "boundary/orvan_service.h"
#include "frontend/cadence.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/thread_completion.h"
#include "frontend/thread_manager.h"
#include "frontend/warning_lines.h"
#include "views/orvan_stdio.h"

namespace {

// The listings of one module, in the order in which they are shown whatever the order of options.
struct Listing {
  std::uint32_t info;
  std::uint32_t flag;  // must be set, too
  bool searchesDevices;
  void (*show)(Cli& cli, ModuleSelection& selection);
};
constexpr std::array kListings{
    Listing{kInfoHelp, CLI_FLAG_HELP, false, &tarvex::ShowModuleHelp},
    Listing{kInfoVersion, 0, false, &tarvex::ShowModuleVersion},
    Listing{kInfoDevices, CLI_FLAG_LIST_DEVICES, true, &tarvex::ShowDevices},
    Listing{kInfoTools, CLI_FLAG_LIST_TOOLS, false, &tarvex::ShowTools},
    Listing{kInfoDiagnostics, CLI_FLAG_LIST_DIAGNOSTICS, false, &tarvex::ShowDiagnostics},
    Listing{kInfoParameters, CLI_FLAG_LIST_PARAMETERS, true, &tarvex::ShowParameters},
    Listing{kInfoValidate, CLI_FLAG_VALIDATE, true, &tarvex::ShowValidation},
};

void ShowModuleInformation(Cli& cli, ModuleSelection& selection) {
  for (const Listing& listing : kListings) {
    if (!Has(selection.infoFlags, listing.info)) continue;
    if (listing.searchesDevices) cli.ScanModuleDevices(&selection);
    if (HasAll(cli.flags, listing.flag)) listing.show(cli, selection);
  }
}

}  // namespace

void Cli::ShowInformation() {
  if (!Has(flags, CLI_FLAG_INFORMATION) || view == nullptr) return;
  const auto warnOfNoModules = [this](const char* key) {
    if (!selectedModules.empty() || !modules->empty()) return;
    tarvex::PrintWarning(*view, key);
    view->PrintNewLine();
  };
  if (Has(flags, CLI_FLAG_HELP)) {
    warnOfNoModules(kKeyNoAvailableModules);
    ShowGeneralHelp();
  }
  if (Has(flags, CLI_FLAG_VERSION)) {
    warnOfNoModules(kKeyNoModuleLoaded);
    tarvex::ShowProgramVersion(*this);
    if (selectedModules.empty()) tarvex::ShowModuleVersions(*this);
  }
  if (Has(flags, CLI_FLAG_LIST_MODULES)) tarvex::ShowModuleList(*this);
  bool anyModule = false;
  for (const auto& [name, selection] : selectedModules) {
    if (selection->module == nullptr) continue;
    anyModule = true;
    ShowModuleInformation(*this, *selection);
  }
  if (!selectedModules.empty() && !anyModule) tarvex::ShowModuleVersions(*this);
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
