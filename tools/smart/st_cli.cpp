#include "tools/smart/st_cli.h"

#include "tools/smart/st_cli_stdio.h"
#include "tools/smart/st_option_parser.h"
#include "tools/tool_run.h"
#include "tools/tool_screen.h"
#include "tools/tool_spinner.h"

STCli::STCli(DiagModule* module, DiagTool* tool)
    : target_(ToolTarget::Of(module, tool)),
      utils_(target_),
      listener_(queue_, utils_),
      forcedAbort_(target_) {}

STCli::~STCli() = default;

void STCli::ToolExecute(int argc, char** argv) {
  bootable_ = tarvex::IsBootable(properties, bootable_);
  view_ = std::make_unique<STCliStdio>(bootable_);
  context_.view = view_.get();
  const bool parsed = ParseLine(argc, argv);
  tarvex::WriteToolBlanking();
  // Escape ends the run all the same.
  view_->ShowHeader(true);
  view_->ShowWarnings(line_.warnings);
  if (!parsed) {
    view_->ShowErrors(line_.errors);
    view_->ShowUsageHint();
  } else if (Has(kToolFlagInformation)) {
    ShowInformation();
  } else if (Has(kToolFlagOperation)) {
    ToolRun();
  }
}

bool STCli::ParseLine(int argc, char** argv) {
  const STOptionParser parser(utils_, bootable_);
  ToolSpinner spinner([] {}, [this] { view_->ShowScanning(); });
  return parser.Parse(argc, argv, spinner, line_);
}

void STCli::ShowInformation() {
  if (Has(kToolFlagHelp)) view_->ShowHelp();
  if (Has(kToolFlagList)) view_->ShowDevices(utils_.applicableDevices());
}

void STCli::ToolRun() {
  utils_.prepareExecution(line_.devices);
  if (utils_.runDevices().empty()) {
    view_->ReportNoDevices({});
    return;
  }
  tarvex::RunTool({target_, &listener_, utils_.runDevices(), queue_, context_, keyboard_, false,
                   [this](double elapsedSeconds) { view_->ShowProgress(elapsedSeconds); }});
}
