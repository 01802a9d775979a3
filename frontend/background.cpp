#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "system/detached_process.h"
#include "views/console_stream.h"
#include "views/orvan_stdio.h"

int Cli::LaunchInBackground(int argc, char** argv) {
  std::vector<std::string> arguments;
  // An empty argument ends the copying.
  for (int i = 0; i < argc && *argv[i] != '\0'; ++i) arguments.emplace_back(argv[i]);
  arguments.emplace_back(kBackgroundMarker);
  int error = 0;
  if (tarvex::StartDetached(arguments, &error) == 0) return 0;
  tarvex::WriteWidened(tarvex::ConsoleStream(),
                       "CreateProcess failed (" + std::to_string(error) + ").\n");
  tarvex::ConsoleStream().flush();
  return 1;
}

void Cli::WriteExecutionStatus() {
  if (view == nullptr) return;
  view->PrintText("\nCLI Execution status: " + std::to_string(result), false, false, false, false);
}
