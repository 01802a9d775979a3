#pragma once

#include "tools/recover/rbs_cli_listener.h"
#include "tools/recover/rbs_cli_stdio.h"
#include "tools/recover/rbs_utils.h"
#include "tools/tool_command.h"

// The Recover Bad Sectors command: reads its options, shows what they ask for, has a repair
// confirmed, and runs it. Main thread.
class RbsCli final : public ToolCommand<RbsCliStdio, RbsUtils, RbsCliListener> {
 public:
  // `supervised`: the output is for a supervising program, and nobody can answer. `terminal` is
  // where an answer comes from. Console and timer outlive the command.
  RbsCli(DiagModule* module, DiagTool* tool, bool supervised, std::wostream& console,
         tarvex::TerminalWait terminal = {}, Timer& timer = WinTimer::Instance());
  ~RbsCli() override;

  // Throws ToolDataError where the service tells too little, and ToolThreadError where no thread
  // can be had for the run.
  void ToolExecute(int argc, char** argv) override;
  // Repairs the chosen devices. The tool must know its operation.
  void ToolRun() override;

 private:
  void MakeView();
  void ShowInformation();
  bool IsRepairWanted();

  const bool supervised_;
  RbsSelection selection_;
};
