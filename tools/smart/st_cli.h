#pragma once

#include "tools/smart/st_cli_listener.h"
#include "tools/smart/st_cli_stdio.h"
#include "tools/smart/st_utils.h"
#include "tools/tool_command.h"

// The SMART command: reads its options, shows what they ask for, or the attributes of the chosen
// devices. It changes nothing on them and asks nothing. Main thread.
class STCli final : public ToolCommand<STCliStdio, STUtils, STCliListener> {
 public:
  // Console and timer outlive the command.
  STCli(DiagModule* module, DiagTool* tool, std::wostream& console,
        Timer& timer = WinTimer::Instance());
  ~STCli() override;

  // Throws ToolDataError where the service tells too little, and ToolThreadError where no thread
  // can be had for the run.
  void ToolExecute(int argc, char** argv) override;
  // Reads the attributes of the chosen devices.
  void ToolRun() override;

 private:
  void ShowInformation();
};
