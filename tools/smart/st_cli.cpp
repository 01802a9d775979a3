#include "tools/smart/st_cli.h"

#include "tools/smart/st_cli_stdio.h"
#include "tools/smart/st_option_parser.h"

STCli::STCli(DiagModule* module, DiagTool* tool, std::wostream& console, Timer& timer)
    : ToolCommand(module, tool, console, timer) {}

STCli::~STCli() = default;

void STCli::ToolExecute(int argc, char** argv) {
  ReadProperties();
  SetView(std::make_unique<STCliStdio>(console(), bootable()));
  const bool parsed = ParseLine<STOptionParser>(argc, argv, [] {});
  // Escape ends the run all the same.
  ShowStart(parsed, true);
  if (!parsed) return;
  if (Has(line().flags, kToolFlagInformation)) {
    ShowInformation();
  } else if (Has(line().flags, kToolFlagOperation)) {
    ToolRun();
  }
}

void STCli::ShowInformation() {
  if (Has(line().flags, kToolFlagHelp)) view().ShowHelp();
  if (Has(line().flags, kToolFlagList)) view().ShowDevices(utils().applicableDevices());
}

void STCli::ToolRun() {
  utils().prepareExecution(line().devices);
  RunPrepared(false);
}
