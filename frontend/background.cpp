#include <algorithm>
#include <cstring>
#include <string_view>

#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "os/detached_process.h"
#include "system/standard_error.h"
#include "views/console_stream.h"
#include "views/orvan_stdio.h"

namespace {

// The scanner takes nothing behind this word for an option.
constexpr char kEndOfOptions[] = "--";

// The arguments of the second instance. An empty argument ends the copying.
std::vector<std::string> WithMarker(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = 0; i < argc && *argv[i] != '\0'; ++i) arguments.emplace_back(argv[i]);
  arguments.insert(std::find(arguments.begin(), arguments.end(), kEndOfOptions), kBackgroundMarker);
  return arguments;
}

}  // namespace

int Cli::LaunchInBackground(int argc, char** argv) {
  // A second instance that took its marker for something else would start a third, and so on.
  if (std::find(argv, argv + argc, std::string_view(kBackgroundMarker)) != argv + argc) {
    tarvex::TellOnStandardError(kTextSecondMarker);
    return 1;
  }
  const std::vector<std::string> arguments = WithMarker(argc, argv);
  int error = 0;
  if (tarvex::StartDetached(arguments, &error) == 0) return 0;
  tarvex::WriteWidened(console_, "CreateProcess failed (" + std::to_string(error) + ").\n");
  console_.flush();
  tarvex::TellOnStandardError(std::string(kTextNoBackground) + std::strerror(error));
  return 1;
}

void Cli::WriteExecutionStatus() {
  if (view == nullptr) return;
  view->PrintText("\nCLI Execution status: " + std::to_string(result), false, false, false, false);
}
