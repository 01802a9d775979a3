#pragma once

#include <memory>

#include "tools/forced_abort.h"
#include "tools/smart/st_cli_event.h"
#include "tools/smart/st_cli_listener.h"
#include "tools/smart/st_utils.h"
#include "tools/tool_cli.h"
#include "tools/tool_command_line.h"
#include "tools/tool_event_queue.h"
#include "tools/tool_keyboard.h"

class STCliStdio;

// The SMART command: reads its options, shows what they ask for, or the attributes of the chosen
// devices. It changes nothing on them and asks nothing. Main thread.
class STCli final : public ToolCli {
 public:
  STCli(DiagModule* module, DiagTool* tool);
  ~STCli() override;

  // May throw std::out_of_range for what the service says of its devices, and std::system_error
  // where no thread can be had for the run.
  void ToolExecute(int argc, char** argv) override;
  // Reads the attributes of the chosen devices.
  void ToolRun() override;

  // Whether the system is bootable, as the program says.
  bool bootable() const { return bootable_; }

 private:
  bool Has(std::uint32_t bits) const { return (line_.flags & bits) != 0; }
  bool ParseLine(int argc, char** argv);
  void ShowInformation();

  const ToolTarget target_;
  ToolEventQueue queue_;
  STUtils utils_;
  ToolCommandLine line_;
  bool bootable_ = false;
  std::unique_ptr<STCliStdio> view_;
  STEventContext context_;
  STCliListener listener_;
  ToolKeyboard keyboard_;
  // Last, for the handler that it removes uses the rest.
  ForcedAbort forcedAbort_;
};
