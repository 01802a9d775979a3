#include "tools/recover/rbs_cli.h"

#include <utility>

#include "boundary/orvan_service_objects.h"
#include "tools/recover/operations.h"
#include "tools/recover/rbs_cli_stdio.h"
#include "tools/recover/rbs_cli_stdio_hdk.h"
#include "tools/recover/rbs_confirmation.h"
#include "tools/recover/rbs_option_parser.h"
#include "tools/tool_run.h"
#include "tools/tool_screen.h"
#include "tools/tool_spinner.h"

RbsCli::RbsCli(DiagModule* module, DiagTool* tool, bool supervised, tarvex::TerminalWait terminal)
    : target_(ToolTarget::Of(module, tool)),
      supervised_(supervised),
      utils_(target_),
      listener_(queue_, utils_),
      keyboard_(std::move(terminal)),
      forcedAbort_(target_) {}

RbsCli::~RbsCli() = default;

void RbsCli::ToolExecute(int argc, char** argv) {
  MakeView();
  const bool parsed = ParseLine(argc, argv);
  tarvex::WriteToolBlanking();
  view_->ShowHeader(Has(kRbsFlagNoEscape | kToolFlagHelp));
  view_->ShowWarnings(line_.warnings);
  if (!parsed) {
    view_->ShowErrors(line_.errors);
    view_->ShowUsageHint();
    return;
  }
  if (Has(kToolFlagInformation)) ShowInformation();
  if (!Has(kRbsFlagRepair) || !IsRepairWanted()) return;
  target_.tool->SetToolProperty(kToolPropertyOperation, {kRbsOperationRepair});
  ToolRun();
}

void RbsCli::MakeView() {
  bootable_ = tarvex::IsBootable(properties, bootable_);
  if (supervised_) {
    view_ = std::make_unique<RbsCliStdioHdk>(bootable_);
  } else {
    view_ = std::make_unique<RbsCliStdio>(bootable_);
  }
  context_.view = view_.get();
}

bool RbsCli::ParseLine(int argc, char** argv) {
  const RbsOptionParser parser(utils_, bootable_);
  ToolSpinner spinner([this] { view_->ViewStart(); }, [this] { view_->ShowScanning(); });
  const bool parsed = parser.Parse(argc, argv, spinner, line_);
  selection_.clear();
  for (const std::string& id : line_.devices) selection_[id];
  return parsed;
}

void RbsCli::ShowInformation() {
  if (Has(kToolFlagHelp)) view_->ShowHelp();
  if (Has(kRbsFlagVersion)) view_->ShowVersion();
  if (Has(kToolFlagList)) view_->ShowDevices(utils_.applicableDevices());
}

bool RbsCli::IsRepairWanted() {
  if (Has(kRbsFlagYes)) return true;
  if (supervised_ || !tarvex::ConfirmRepair(*view_, keyboard_)) return false;
  tarvex::WriteTool("\n");
  return true;
}

void RbsCli::ToolRun() {
  utils_.prepareExecution(selection_, false);
  if (utils_.runDevices().empty()) {
    view_->ReportNoDevices({});
    return;
  }
  tarvex::RunTool({target_, &listener_, utils_.runDevices(), queue_, context_, keyboard_, true,
                   [this](double elapsedSeconds) { view_->ShowProgress(elapsedSeconds); }});
}
