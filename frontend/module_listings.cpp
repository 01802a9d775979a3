#include "frontend/listings.h"

#include "boundary/hostlayer_number_handler.h"
#include "boundary/orvan_service.h"
#include "boundary/orvan_service_version.h"
#include "frontend/cli.h"
#include "frontend/help.h"
#include "frontend/message_keys.h"
#include "frontend/warning_lines.h"
#include "system/string_handler.h"
#include "views/orvan_stdio.h"

namespace tarvex {

namespace {

std::string DisplayName(DiagModule* module) {
  std::string name;
  return module->GetDisplayName(name);
}

void ShowVersionOf(const Cli& cli, DiagModule* module) {
  std::string line =
      "  " + DisplayName(module) + " - VERSION " + VersionText(cli, *module->Version());
  cli.stringHandler->ToLower(line);
  cli.view->PrintRaw(line, true);
}

}  // namespace

std::string VersionText(const Cli& cli, const ProductVersion& version) {
  HostNumberHandler& numbers = *cli.numberHandler;
  return numbers.NumberToString(version.Major()) + "." + numbers.NumberToString(version.Minor()) +
         "." + numbers.NumberToString(version.Patch()) + "." +
         numbers.NumberToString(version.Build());
}

void ShowProgramVersion(const Cli& cli) {
  cli.view->PrintTitle("  |C|L|I - VERSION " + cli.ApplicationVersion(), true);
}

void ShowModuleVersions(const Cli& cli) {
  for (DiagModule* module : *cli.modules) ShowVersionOf(cli, module);
}

void ShowModuleList(const Cli& cli) {
  if (cli.modules->empty()) {
    PrintWarning(*cli.view, kKeyNoModuleLoaded);
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

}  // namespace tarvex
