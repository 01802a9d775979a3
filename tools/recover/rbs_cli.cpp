#include "tools/recover/rbs_cli.h"

#include <utility>

#include "boundary/orvan_service_objects.h"
#include "tools/recover/operations.h"
#include "tools/recover/rbs_cli_stdio.h"
#include "tools/recover/rbs_cli_stdio_hdk.h"
#include "tools/recover/rbs_confirmation.h"
#include "tools/recover/rbs_option_parser.h"

RbsCli::RbsCli(DiagModule* module, DiagTool* tool, bool supervised, std::wostream& console,
               tarvex::TerminalWait terminal, Timer& timer)
    : ToolCommand(module, tool, console, timer, std::move(terminal)), supervised_(supervised) {}

RbsCli::~RbsCli() = default;

void RbsCli::ToolExecute(int argc, char** argv) {
  MakeView();
  const bool parsed = ParseLine<RbsOptionParser>(argc, argv, [this] { view().ViewStart(); });
  ShowStart(parsed, Has(line().flags, kRbsFlagNoEscape | kToolFlagHelp));
  if (!parsed) return;
  if (Has(line().flags, kToolFlagInformation)) ShowInformation();
  if (!Has(line().flags, kRbsFlagRepair) || !IsRepairWanted()) return;
  target().tool->SetToolProperty(kToolPropertyOperation, {kRbsOperationRepair});
  ToolRun();
}

void RbsCli::MakeView() {
  ReadProperties();
  if (supervised_) {
    SetView(std::make_unique<RbsCliStdioHdk>(console(), bootable()));
  } else {
    SetView(std::make_unique<RbsCliStdio>(console(), bootable()));
  }
}

void RbsCli::ShowInformation() {
  if (Has(line().flags, kToolFlagHelp)) view().ShowHelp();
  if (Has(line().flags, kRbsFlagVersion)) view().ShowVersion();
  if (Has(line().flags, kToolFlagList)) view().ShowDevices(utils().applicableDevices());
}

bool RbsCli::IsRepairWanted() {
  if (Has(line().flags, kRbsFlagYes)) return true;
  if (supervised_ || !tarvex::ConfirmRepair(view(), keyboard())) return false;
  tarvex::WriteTool(console(), "\n");
  return true;
}

void RbsCli::ToolRun() {
  selection_.clear();
  for (const std::string& id : line().devices) selection_[id];
  utils().prepareExecution(selection_, false);
  RunPrepared(true);
}
