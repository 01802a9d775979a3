#include "frontend/listings.h"

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

namespace {

std::string DisplayName(DiagModule* module) {
  std::string name;
  return module->GetDisplayName(name);
}

void ShowVersionOf(const Cli& cli, DiagModule* module) {
  std::string line =
      "  " + DisplayName(module) + " - VERSION " + tarvex::VersionText(cli, *module->Version());
  cli.stringHandler->ToLower(line);
  cli.view->PrintRaw(line, true);
}

void ShowProgramVersion(const Cli& cli) {
  cli.view->PrintTitle("  |C|L|I - VERSION " + cli.ApplicationVersion(), true);
}

void ShowModuleVersions(const Cli& cli) {
  for (DiagModule* module : *cli.modules) ShowVersionOf(cli, module);
}

void ShowModuleList(const Cli& cli) {
  if (cli.modules->empty()) {
    tarvex::PrintWarning(*cli.view, kKeyNoModuleLoaded);
    cli.view->PrintNewLine();
    return;
  }
  cli.view->PrintRaw("> Available Modules", true);
  for (DiagModule* module : *cli.modules) {
    // Underscores stay, so that what is shown is what the module option takes.
    std::string name = cli.view->FormatKey(DisplayName(module), false, false, false);
    cli.stringHandler->ToLower(name);
    if (Has(cli.flags, CLI_FLAG_SUPERVISED)) {
      cli.view->PrintField("MODULE_NAME", name, true);
    } else {
      cli.view->PrintRaw("  - " + name, true);
    }
  }
  ShowModuleListHint(*cli.view);
}

void ShowModuleHelp(Cli& cli, ModuleSelection& selection) {
  std::string text;
  cli.view->PrintRaw("> ", false);
  cli.view->PrintRaw(selection.module->GetHelpText(text), true);
  cli.view->PrintNewLine();
}

void ShowModuleVersion(Cli& cli, ModuleSelection& selection) {
  ShowVersionOf(cli, selection.module);
}

void ShowTools(Cli& cli, ModuleSelection& selection) {
  selection.tools = selection.module->Tools();
  const std::string name = DisplayName(selection.module);
  cli.view->PrintSentence(name + " tools:", true);
  if (selection.tools == nullptr || selection.tools->empty()) {
    cli.view->PrintSentence(kKeyNoTools, true);
    return;
  }
  for (DiagTool* tool : *selection.tools) cli.ShowToolHint(tool, name);
}

// The listings of one module, in the order in which they are shown whatever the order of options.
struct Listing {
  std::uint32_t info;
  std::uint32_t flag;  // must be set, too
  bool searchesDevices;
  void (*show)(Cli& cli, ModuleSelection& selection);
};
constexpr std::array kListings{
    Listing{kInfoHelp, CLI_FLAG_HELP, false, &ShowModuleHelp},
    Listing{kInfoVersion, 0, false, &ShowModuleVersion},
    Listing{kInfoDevices, CLI_FLAG_LIST_DEVICES, true, &tarvex::ShowDevices},
    Listing{kInfoTools, CLI_FLAG_LIST_TOOLS, false, &ShowTools},
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

std::string tarvex::VersionText(const Cli& cli, const ProductVersion& version) {
  HostNumberHandler& numbers = *cli.numberHandler;
  return numbers.NumberToString(version.Major()) + "." + numbers.NumberToString(version.Minor()) +
         "." + numbers.NumberToString(version.Patch()) + "." +
         numbers.NumberToString(version.Build());
}

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
    ShowProgramVersion(*this);
    if (selectedModules.empty()) ShowModuleVersions(*this);
  }
  if (Has(flags, CLI_FLAG_LIST_MODULES)) ShowModuleList(*this);
  bool anyModule = false;
  for (const auto& [name, selection] : selectedModules) {
    if (selection->module == nullptr) continue;
    anyModule = true;
    ShowModuleInformation(*this, *selection);
  }
  if (!selectedModules.empty() && !anyModule) ShowModuleVersions(*this);
}

void Cli::ScanModuleDevices(ModuleSelection* selection, const std::function<void()>& onRedraw) {
  if (selection == nullptr || selection->module == nullptr) return;
  std::string name;
  selection->module->GetDisplayName(name);
  ThreadManager& threads = ThreadManager::Instance();
  threads.SetTarget(selection->module);
  threads.StartScan(threadStatus.get());
  view->ShowDeviceScan(name, false);
  while (!threadStatus->WaitDone(kCadence)) {
    if (onRedraw) onRedraw();
    view->ShowDeviceScan(name, false);
  }
  selection->serviceDevices = selection->module->GetDevices();
  view->ShowDeviceScan(name, true);
}
