#pragma once

#include <memory>

#include "tools/forced_abort.h"
#include "tools/recover/rbs_cli_event.h"
#include "tools/recover/rbs_cli_listener.h"
#include "tools/recover/rbs_utils.h"
#include "tools/tool_cli.h"
#include "tools/tool_command_line.h"
#include "tools/tool_event_queue.h"
#include "tools/tool_keyboard.h"

class RbsCliStdio;

// The Recover Bad Sectors command: reads its options, shows what they ask for, has a repair
// confirmed, and runs it. Main thread.
class RbsCli final : public ToolCli {
 public:
  // `supervised`: the output is for a supervising program, and nobody can answer. `terminal` is
  // where an answer comes from.
  RbsCli(DiagModule* module, DiagTool* tool, bool supervised, tarvex::TerminalWait terminal = {});
  ~RbsCli() override;

  // May throw std::out_of_range for what the service says of its devices, and std::system_error
  // where no thread can be had for the run.
  void ToolExecute(int argc, char** argv) override;
  // Repairs the chosen devices. The tool must know its operation.
  void ToolRun() override;

  // Whether the system is bootable, as the program says.
  bool bootable() const { return bootable_; }

 private:
  bool Has(std::uint32_t bits) const { return (line_.flags & bits) != 0; }
  void MakeView();
  bool ParseLine(int argc, char** argv);
  void ShowInformation();
  bool IsRepairWanted();

  const ToolTarget target_;
  const bool supervised_;
  ToolEventQueue queue_;
  RbsUtils utils_;
  ToolCommandLine line_;
  RbsSelection selection_;
  bool bootable_ = false;
  std::unique_ptr<RbsCliStdio> view_;
  RbsEventContext context_;
  RbsCliListener listener_;
  ToolKeyboard keyboard_;
  // Last, for the handler that it removes uses the rest.
  ForcedAbort forcedAbort_;
};
