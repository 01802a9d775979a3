#include <algorithm>
#include <cstdlib>

#include "boundary/hostlayer.h"
#include "boundary/orvan_service.h"
#include "boundary/orvan_service_errors.h"
#include "boundary/orvan_service_settings.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/system_event_handlers.h"
#include "frontend/thread_completion.h"
#include "frontend/thread_manager.h"
#include "frontend/warning_lines.h"
#include "system/execution_tracker.h"
#include "system/machine_setting.h"
#include "system/process_state.h"
#include "views/cli_event_queue.h"
#include "views/cli_stdio_file.h"
#include "views/cli_stdio_null.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/console_stream.h"
#include "views/hdk_io.h"
#include "views/orvan_stdio.h"

namespace {

constexpr std::size_t kBannerWidth = 58;
constexpr char kCollectDataSetting[] = "CollectData";

bool MachineCollectsData() {
  std::uint32_t value = 0;
  return ReadMachineSetting(kCollectDataSetting, &value) == 0 && value == 1;
}

// False when the service cannot use the caller's cache folder.
bool HandOverSettings(OrvanService& service, const OrvanSettings& settings) {
  try {
    service.ApplySettings(settings);
    return true;
  } catch (const FailedToVisitLocalCache&) {
    return false;
  }
}

}  // namespace

void Cli::EndProcess(const char* text) {
  tarvex::WriteWidened(tarvex::ConsoleStream(), text);
  tarvex::EndLine(tarvex::ConsoleStream());
  release_console_instance(get_console());
  PublishService(nullptr);
  ThreadManager::Instance().Stop();
  std::exit(0);
}

int Cli::Parse(int argc, char** argv) {
  if (Service() == nullptr) return 1;
  view.reset();
  flags = 0;
  std::string errorText;
  // Answered above; it stays for a service that goes away in between.
  if (Service() == nullptr) EndProcess(kTextNoService);
  modules = ThreadManager::Instance().Modules();
  if (modules == nullptr) EndProcess(kTextNoModules);

  int code = ParseCommandLine(argc, argv, errorText);
  if (code != kParseOk) flags &= ~CLI_FLAG_OUTPUT_FILE;
  if (Has(flags, CLI_FLAG_CALLER) && !Has(flags, CLI_FLAG_DATA_COLLECTION_SET)) {
    errorText = kKeyCallerNeedsDataCollection;
    code = kParseFatal;
  }
  const int viewCode = CreateView();
  if (!Has(flags, CLI_FLAG_CALLER)) callerInfo.appName = ApplicationName();
  if (viewCode == kParseFile) {
    result = kResultOutputFile;
    errorText = kKeyErrorOpeningFile;
    code = kParseFile;
  } else if (code == kParseOk && viewCode == 0 && Has(flags, CLI_FLAG_BACKGROUND)) {
    return LaunchInBackground(argc, argv);
  }
  if (code == kParseOk) {
    if (Has(flags, CLI_FLAG_TOOL)) return 0;
    code = ValidateSelections(errorText);
  }
  if (code == kParseOk && WillReadKeys()) view->TakeKeyboard();
  ComposeWarnings();
  if (view != nullptr) PrintBanner();
  if (code == kParseOk) {
    code = RunSettingsStep(errorText);
    if (Has(flags, CLI_FLAG_REMOVE_WMI)) RemoveExecutionRecords();
  }
  if (code != kParseOk && ShowParseFailure(code, errorText) != 0) return 1;
  ShowWarnings();
  return code;
}

int Cli::CreateView() {
  const bool background = Has(flags, CLI_FLAG_BACKGROUND_INSTANCE);
  if (Has(flags, CLI_FLAG_SUPERVISED)) {
    view = std::make_unique<HDKio>();
  } else if (Has(flags, CLI_FLAG_OUTPUT_FILE)) {
    view = std::make_unique<CliStdioFile>(outputFile);
    if (background) {
      view->SetQuiet(true);
      return view->Open();
    }
    if (view->Open() == kViewOk) return 0;
    view = std::make_unique<OrvanStdio>();
    view->Open();
    return kParseFile;
  } else if (background) {
    view = std::make_unique<CliStdioNull>();
  } else {
    view = std::make_unique<OrvanStdio>();
  }
  view->SetQuiet(background);
  return view->Open();
}

// Whether the line asks for a run that looks at the abort key.
bool Cli::WillReadKeys() const {
  if (Has(flags, CLI_FLAG_INFORMATION | CLI_FLAG_SUPERVISED)) return false;
  const auto isThere = [](const auto& entry) { return entry.second->module != nullptr; };
  const auto& chosen = Has(flags, CLI_FLAG_RUN_ALL) ? runAllModules : selectedModules;
  return std::any_of(chosen.begin(), chosen.end(), isThere);
}

void Cli::PrintBanner() {
  constexpr std::uint32_t kNothingToAbort =
      CLI_FLAG_NO_ABORT_BANNER | CLI_FLAG_HELP | CLI_FLAG_INFORMATION;
  const std::string row(kBannerWidth, '=');
  const auto line = [this](const char* key) {
    view->PrintRaw(" " + view->FormatKey(key, true, true, true), true);
  };
  view->PrintNewLine();
  view->PrintRaw(row, true);
  line(kKeyApplicationName);
  if (!Has(flags, kNothingToAbort)) {
    line(kKeyPressEscape);
    view->PrintRaw(row, true);
  } else {
    view->PrintRaw(row, true);
    line("");
  }
  view->PrintNewLine();
}

void Cli::FillSettings(OrvanSettings& settings) const {
  settings.SetString(kSettingAppName, ApplicationName());
  settings.SetString(kSettingAppVersion, ApplicationVersion());
  settings.SetBool(kSettingDataCollection, false);
  settings.SetBool(kSettingExecutionTracker, false);
  if (!Has(flags, CLI_FLAG_CALLER)) return;
  settings.SetString(kSettingAppName, callerInfo.appName);
  settings.SetString(kSettingAppVersion, callerInfo.appVersion);
  settings.SetBool(kSettingDataCollection, Has(flags, CLI_FLAG_DATA_COLLECTION_SET)
                                               ? Has(flags, CLI_FLAG_DATA_COLLECTION_VALUE)
                                               : MachineCollectsData());
  settings.SetString(kSettingAppKey, callerInfo.appKey);
  settings.SetString(kSettingCacheDir, callerInfo.cacheDir);
}

int Cli::RunSettingsStep(std::string& errorText) {
  OrvanService* service = Service();
  OrvanSettings settings;
  FillSettings(settings);
  const bool savePathGiven = Has(flags, CLI_FLAG_SAVE_PATH);
  settings.SetBool(kSettingLogPathChanged, savePathGiven);
  if (savePathGiven) service->SetLogPath(savePath);

  if (!Has(flags, CLI_FLAG_DATA_COLLECTION_SET)) {
    settings.SetBool(kSettingDataCollection, MachineCollectsData());
  } else {
    const bool enabled = Has(flags, CLI_FLAG_DATA_COLLECTION_VALUE);
    settings.SetBool(kSettingDataCollection, enabled);
    view->PrintText(enabled ? kKeyDataCollectionOn : kKeyDataCollectionOff, true, true, false,
                    false);
    view->PrintNewLine();
  }
  const bool firstTaken = HandOverSettings(*service, settings);
  settings.SetBool(kSettingExecutionTracker, Has(flags, CLI_FLAG_WMI));
  const bool secondTaken = HandOverSettings(*service, settings);
  if (firstTaken && secondTaken) return kParseOk;
  errorText = kKeyInvalidCacheDirectory;
  return kParseFatal;
}

void Cli::RemoveExecutionRecords() {
  WindowsSystemExecutionTracker tracker;
  const char* message = tracker.Remove() == 0 ? kKeyNamespaceRemoved : kKeyNamespaceNotRemoved;
  view->PrintRaw(view->FormatKey(message, true, true, true), true);
}

int Cli::ShowParseFailure(int code, const std::string& errorText) {
  tarvex::PrintWarningTag(*view);
  view->PrintSentence(
      std::string(code == kParseFatal ? kKeyFatalParsingError : kKeyRedirectionError) + ":", false);
  view->PrintUnicode(view->FormatKey(" " + errorText, false, false, true), false);
  view->PrintNewLine();
  if (code != kParseFatal && code != kParseFile) return 0;
  flags |= CLI_FLAG_HELP;
  ShowGeneralHelp();
  view.reset();
  return 1;
}

void Cli::ShowWarnings() {
  for (const std::string& warning : warnings) {
    tarvex::PrintWarning(*view, warning);
    view->PrintNewLine();
  }
}
