#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/system_event_handlers.h"
#include "frontend/tool_makers.h"
#include "system/key_format.h"
#include "system/standard_error.h"
#include "tools/tool_run.h"
#include "views/console_stream.h"
#include "views/orvan_stdio.h"

// Hands the rest of the command line to the chosen tool. A tool that has no command here is passed
// over in silence. What goes wrong in it passes; only that the system has no thread to run it on is
// told here, for nothing has been run then.
void Cli::HandOverToTool(int argc, char** argv) {
  std::string name;
  chosenTool->GetName(name);
  const std::string word = view->FormatKey(name, false, false, false);
  const std::unique_ptr<ToolCli> tool =
      MakeTool(word, {chosenToolModule, chosenTool, Has(flags, CLI_FLAG_SUPERVISED), &console_});
  if (tool == nullptr) return;
  tool->SetProperty({kToolPropertyBootable, bootable ? kToolPropertyTrue : kToolPropertyFalse});
  const SystemEventsHold hold;
  try {
    tool->ToolExecute(argc, argv);
  } catch (const ToolThreadError& error) {
    tarvex::TellOnStandardError(tarvex::FormatKey(kKeyToolEndedEarly, false, true, true) +
                                error.what());
  }
  result = kResultPassed;
}
