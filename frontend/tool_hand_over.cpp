#include <stdexcept>
#include <system_error>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/system_event_handlers.h"
#include "frontend/tool_makers.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

// By then the tool has ended what it began.
void WarnOfEarlyEnd(OrvanStdio& view, const std::exception& error) {
  view.PrintSentence(std::string(tarvex::kWarningTag) + " ", false);
  view.PrintSentence(kKeyToolEndedEarly, false);
  view.PrintUnicode(error.what(), true);
}

}  // namespace

// Hands the rest of the command line to the chosen tool. A tool that has no command here is passed
// over in silence.
void Cli::HandOverToTool(int argc, char** argv) {
  std::string name;
  chosenTool->GetName(name);
  const std::string word = view->FormatKey(name, false, false, false);
  const std::unique_ptr<ToolCli> tool =
      MakeTool(word, {chosenToolModule, chosenTool, (flags & CLI_FLAG_SUPERVISED) != 0});
  if (tool == nullptr) return;
  tool->SetProperty({kToolPropertyBootable, bootable ? kToolPropertyTrue : kToolPropertyFalse});
  const SystemEventsRelease release;
  HoldSystemEvents();
  try {
    tool->ToolExecute(argc, argv);
  } catch (const std::out_of_range& error) {
    // The service told less than it must.
    WarnOfEarlyEnd(*view, error);
  } catch (const std::system_error& error) {
    // The system gave less than a tool needs.
    WarnOfEarlyEnd(*view, error);
  }
  result = kResultPassed;
}
