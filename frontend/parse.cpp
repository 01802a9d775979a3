#include <algorithm>
#include <cstdlib>

#include "boundary/hostlayer.h"
#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/option_conflicts.h"
#include "frontend/parse_text.h"
#include "frontend/settings_step.h"
#include "frontend/system_event_handlers.h"
#include "frontend/thread_manager.h"
#include "frontend/warning_lines.h"
#include "system/execution_tracker.h"
#include "system/process_state.h"
#include "views/cli_stdio_file.h"
#include "views/cli_stdio_null.h"
#include "views/console_stream.h"
#include "views/hdk_io.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace {

constexpr std::size_t kBannerWidth = 58;

[[noreturn]] void EndProcess(tarvex::ConsoleStream& console, const char* text) {
  tarvex::WriteWidened(console, text);
  tarvex::EndLine(console);
  release_console_instance(get_console());
  PublishService(nullptr);
  ThreadManager::Instance().Stop();
  std::exit(0);
}

// Whether the line asks for a run that looks at the abort key.
bool WillReadKeys(const Cli& cli) {
  if (Has(cli.flags, CLI_FLAG_INFORMATION | CLI_FLAG_SUPERVISED)) return false;
  const auto isThere = [](const auto& entry) { return entry.second->module != nullptr; };
  const auto& chosen = Has(cli.flags, CLI_FLAG_RUN_ALL) ? cli.runAllModules : cli.selectedModules;
  return std::any_of(chosen.begin(), chosen.end(), isThere);
}

void PrintBanner(OrvanStdio& view, std::uint32_t flags) {
  constexpr std::uint32_t kNothingToAbort =
      CLI_FLAG_NO_ABORT_BANNER | CLI_FLAG_HELP | CLI_FLAG_INFORMATION;
  const std::string row(kBannerWidth, '=');
  const auto line = [&view](const char* key) {
    view.PrintRaw(" " + view.FormatKey(key, true, true, true), true);
  };
  view.PrintNewLine();
  view.PrintRaw(row, true);
  line(kKeyApplicationName);
  if (!Has(flags, kNothingToAbort)) {
    line(kKeyPressEscape);
    view.PrintRaw(row, true);
  } else {
    view.PrintRaw(row, true);
    line("");
  }
  view.PrintNewLine();
}

void RemoveExecutionRecords(OrvanStdio& view) {
  WindowsSystemExecutionTracker tracker;
  const char* message = tracker.Remove() == 0 ? kKeyNamespaceRemoved : kKeyNamespaceNotRemoved;
  view.PrintRaw(view.FormatKey(message, true, true, true), true);
}

// Shows the failure. True when the line ends in the help.
bool ShowParseFailure(Cli& cli, int code, const std::string& errorText) {
  OrvanStdio& view = *cli.view;
  tarvex::PrintWarningTag(view);
  view.PrintSentence(
      std::string(code == kParseFatal ? kKeyFatalParsingError : kKeyRedirectionError) + ":", false);
  view.PrintUnicode(view.FormatKey(" " + errorText, false, false, true), false);
  view.PrintNewLine();
  if (code != kParseFatal && code != kParseFile) return false;
  cli.flags |= CLI_FLAG_HELP;
  cli.ShowGeneralHelp();
  cli.view.reset();
  return true;
}

}  // namespace

int Cli::Parse(int argc, char** argv) {
  if (GetProcessState().service == nullptr) return 1;
  view.reset();
  flags = 0;
  std::string errorText;
  // Answered above; it stays for a service that goes away in between.
  if (GetProcessState().service == nullptr) EndProcess(console_, kTextNoService);
  modules = ThreadManager::Instance().Modules();
  if (modules == nullptr) EndProcess(console_, kTextNoModules);

  int code = ParseCommandLine(argc, argv, errorText);
  if (code != kParseOk) flags &= ~CLI_FLAG_OUTPUT_FILE;
  if (const OptionConflict* conflict = FindConflict(Moment::kParsed, {*this})) {
    code = Fail(errorText, conflict->key);
  }
  const int viewCode = CreateView();
  if (!Has(flags, CLI_FLAG_CALLER)) callerInfo.appName = ApplicationName();
  if (viewCode == kParseFile) {
    result = kResultOutputFile;
    code = Fail(errorText, tarvex::kErrorOpeningFileKey, kParseFile);
  } else if (code == kParseOk && viewCode == 0 && Has(flags, CLI_FLAG_BACKGROUND)) {
    return LaunchInBackground(argc, argv);
  }
  if (code == kParseOk) {
    if (Has(flags, CLI_FLAG_TOOL)) return 0;
    code = ValidateSelections(errorText);
  }
  if (code == kParseOk && WillReadKeys(*this)) view->TakeKeyboard();
  ComposeWarnings();
  if (view != nullptr) PrintBanner(*view, flags);
  if (code == kParseOk) {
    code = HandOverSettings(*this, errorText);
    if (Has(flags, CLI_FLAG_REMOVE_WMI)) RemoveExecutionRecords(*view);
  }
  if (code != kParseOk && ShowParseFailure(*this, code, errorText)) return 1;
  for (const std::string& warning : warnings) {
    tarvex::PrintWarning(*view, warning);
    view->PrintNewLine();
  }
  return code;
}

int Cli::CreateView() {
  const bool background = Has(flags, CLI_FLAG_BACKGROUND_INSTANCE);
  if (Has(flags & ~BeatenFlags(Moment::kOutput, {*this}), CLI_FLAG_OUTPUT_FILE)) {
    view = std::make_unique<CliStdioFile>(console_, outputFile);
    if (background) {
      view->SetQuiet(true);
      return view->Open();
    }
    if (view->Open() == kViewOk) return 0;
    view = std::make_unique<OrvanStdio>(console_);
    view->Open();
    return kParseFile;
  }
  if (Has(flags, CLI_FLAG_SUPERVISED)) {
    view = std::make_unique<HDKio>(console_);
  } else if (background) {
    view = std::make_unique<CliStdioNull>(console_);
  } else {
    view = std::make_unique<OrvanStdio>(console_);
  }
  view->SetQuiet(background);
  return view->Open();
}
