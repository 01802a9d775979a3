
#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "views/orvan_stdio.h"

// Hands the rest of the command line to the chosen tool. This build has no interactive tool yet:
// the operator is told so, and the process ends with 0 as after any tool.
void Cli::HandOverToTool(int /*argc*/, char** /*argv*/) {
  std::string name;
  chosenTool->GetName(name);
  PrintWarning("THE_TOOL_" + view->FormatKey(name, false, false, false) +
               "_IS_NOT_AVAILABLE_IN_THIS_VERSION");
}
