#include <getopt.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/cli.h"
#include "system/process_state.h"
#include "tests/fakes/fake_host.h"
#include "tests/fakes/fake_service.h"
#include "tests/support/console_capture.h"
#include "views/cli_event_queue.h"
#include "views/cli_stdio_null.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"

// Nothing that a line says may leave a trace on the machine: "-s" makes no folder.
extern "C" int mkdir(const char* /*path*/, mode_t /*mode*/) noexcept {
  errno = EROFS;
  return -1;
}

// Audio takes long to come up and is no part of a command line.
extern "C" int SDL_InitSubSystem(std::uint32_t /*flags*/) {
  return 0;
}
extern "C" void SDL_Quit() {}

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void BuildService(FakeService& service) {
  FakeModule& storage = service.AddModule("storage");
  FakeDiagnostic& quick = storage.AddDiagnostic("QUICK_TEST", "Q", "quick", 1);
  quick.AddTest("FUNNEL_READ_TEST", "f", "funnel-read").Parameter("blocks", 2);
  quick.AddTest("RANDOM_READ_TEST", "r", "random-read").NotOn("1");
  storage.AddDiagnostic("EXTENDED_TEST", "E", "extended", 2)
      .AddTest("LINEAR_READ_TEST", "l", "linear-read")
      .Parameter("first_lba", 2)
      .Parameter("last_lba", 2)
      .Rule(1);
  storage.AddDevice("0", "Disk A");
  storage.AddDevice("1", "Disk B");
  storage.AddTool("recover_bad_sectors", "RECOVERS_SECTORS", "recover");
  FakeModule& memory = service.AddModule("memory");
  memory.AddDiagnostic("KERNEL_TEST", "K", "kernel", 1)
      .AddTest("MARCH_TEST", "m", "march")
      .Operator();
}

// The words of a line stand between zero bytes where there is one, else on lines of their own.
std::vector<std::string> WordsOf(std::string_view text) {
  const char end = text.find('\0') != std::string_view::npos ? '\0' : '\n';
  std::vector<std::string> words{"TarvexDiagnosticsCLI"};
  while (!text.empty()) {
    const std::size_t length = std::min(text.find(end), text.size());
    words.emplace_back(text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return words;
}

template <typename Thing>
bool IsOneOf(const Thing* thing, const std::vector<Thing*>& list) {
  return std::find(list.begin(), list.end(), thing) != list.end();
}

// What would run are tests, diagnostics and devices of the module.
void CheckPlans(const ModuleSelection& selection) {
  for (const DeviceRunPlan& plan : selection.plans) {
    Require(plan.device == nullptr || IsOneOf(plan.device, *selection.module->GetDevices()));
    for (const DiagnosticRunItem& item : plan.diagnostics) {
      Require(IsOneOf(item.diagnostic, *selection.module->GetDiagnostics()));
      for (const TestRunItem& test : item.tests) {
        Require(IsOneOf(test.test, *item.diagnostic->Tests()));
      }
    }
  }
}

// The steps of Cli::Parse that look at the line, and the plan of a run.
void ParseLine(Cli& cli, tarvex::ConsoleStream& console, int argc, char** argv) {
  std::string errorText;
  int code = cli.ParseCommandLine(argc, argv, errorText);
  cli.view = std::make_unique<CliStdioNull>(console);
  if (code == kParseOk && (cli.flags & CLI_FLAG_TOOL) != 0) {
    Require(cli.chosenTool != nullptr && cli.chosenToolModule != nullptr);
    return;
  }
  if (code == kParseOk) code = cli.ValidateSelections(errorText);
  cli.ComposeWarnings();
  Require(code == kParseOk || !errorText.empty());
  if (code != kParseOk) return;
  for (auto& [name, selection] : cli.selectedModules) {
    if (selection->module == nullptr) continue;
    selection->serviceDevices = selection->module->GetDevices();
    cli.BuildRunPlan(selection.get());
    CheckPlans(*selection);
  }
}

}  // namespace

// Any line is a selection that can be planned, or an error with a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> words = WordsOf({reinterpret_cast<const char*>(data), size});
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  ResetFakeHost();
  ResetFakeService();
  BuildService(TheFakeService());
  optind = 0;  // starts the scanner afresh
  tarvex::ConsoleCapture console;
  Cli cli(&TheFakeHost().events, console);
  cli.modules = &TheFakeService().moduleList;
  ParseLine(cli, console, static_cast<int>(words.size()), argv.data());
  return 0;
}
