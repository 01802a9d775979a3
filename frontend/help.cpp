#include "frontend/help.h"

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/options.h"
#include "system/string_handler.h"
#include "views/orvan_stdio.h"

namespace {

// The general help, up to the names of the modules: what stands in front of the program's options,
// behind them, and behind those of a module.
constexpr char kGeneralOptions[] =
    "\n> General options\n"
    "  Usage: TarvexDiagnosticsCLI [option]\n"
    "  Options:\n";
constexpr char kModuleOptions[] =
    "\n  Example:\n"
    "   => TarvexDiagnosticsCLI.exe -W -Mstorage -Mpci_express\n\n"
    "> Module specific options\n"
    "  Usage: TarvexDiagnosticsCLI -Mmodule_name [option]\n"
    "         TarvexDiagnosticsCLI --module=module_name [option]\n"
    "  Options:\n";
constexpr char kRuns[] =
    "\n> Perform diagnostics\n"
    "  Usage: TarvexDiagnosticsCLI [module] [diagnostic]\"[test(s)]\" [device id(s)]\n"
    "    -M[module_name]                 Performs default diagnostic of the module\n"
    "    -M[module_name] [diagnostic]    Perform all tests of the diagnostic\n\n"
    "  Example:\n"
    "   => Perform tests f and r of diagnostic Q on devices 0 and 1 of the storage module\n"
    "      TarvexDiagnosticsCLI -Mstorage -Q\"f,r\" 0 1\n\n"
    "> Perform Run All\n"
    "  Usage: TarvexDiagnosticsCLI -U\"[options]\"\n"
    "         TarvexDiagnosticsCLI --run-all=[options]\n"
    "    -U                              Perform default diagnostics of all modules\n"
    "    -U\"q\", -U\"quick\"                Perform quick diagnostics of all modules\n"
    "    -U\"e\", -U\"extended\"             Perform extended diagnostics of all modules\n"
    "    -U\"o\", -U\"only-unattended\"      Perform only-unattended diagnostics of all modules\n\n"
    "  Example:\n"
    "   => Perform quick, extended and only-unattended tests in all devices of all modules\n"
    "      TarvexDiagnosticsCLI -U\"q,e,o\"\n"
    "\n\n> Available module(s): ";

constexpr char kModuleListHint[] =
    "\n> See help of a module\n"
    "  Usage: TarvexDiagnosticsCLI -Mmodule_name -h\n"
    "  Examples:\n"
    "    => See storage help\n"
    "           TarvexDiagnosticsCLI -Mstorage -h\n";

}  // namespace

void Cli::ShowGeneralHelp() {
  std::string text =
      kGeneralOptions + GeneralOptionsHelp() + kModuleOptions + ModuleOptionsHelp() + kRuns;
  bool first = true;
  for (DiagModule* module : *modules) {
    if (!first) text += ", ";
    first = false;
    std::string name;
    stringHandler->ToLower(module->GetDisplayName(name));
    text += name;
  }
  view->PrintRaw(text, true);
  view->PrintNewLine();
}

void ShowModuleListHint(OrvanStdio& view) {
  view.PrintRaw(kModuleListHint, true);
}

void Cli::ShowToolHint(DiagTool* tool, const std::string& moduleName) {
  // The module's name as the command line takes it.
  std::string name = moduleName;
  stringHandler->ToLower(name);
  std::string toolKey;
  std::string description;
  std::string hint;
  tool->GetName(toolKey);
  tool->GetDescription(description);
  tool->GetHint(hint);
  view->PrintNewLine();
  view->PrintRaw(" => ", false);
  view->PrintTitle(toolKey, true);
  view->PrintRaw("\t" + view->FormatKey("DESCRIPTION", true, true, true) + "\t" +
                     view->FormatKey(description, false, true, true),
                 true);
  view->PrintRaw("\t" + view->FormatKey("HINT", true, true, true) + "\t\t" + hint, true);
  view->PrintRaw(std::string("\tMore info\t") + kProgramName + " -M" + name + " -T" + hint, true);
}
