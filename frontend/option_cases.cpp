#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/option_scan.h"
#include "frontend/parse_text.h"
#include "os/descriptor.h"
#include "os/trusted_path.h"
#include "system/filesystem/win_filesystem.h"
#include "system/string_handler.h"
#include "system/system_path.h"

namespace {

bool IsMissing(const char* text) {
  return text == nullptr || *text == '\0';
}

// A text of blanks only is trimmed to one whose first byte is zero.
std::string Trimmed(StringHandler& handler, std::string text) {
  handler.Trim(text);
  return handler.CopyUntilNul(text);
}

}  // namespace

// The last row stands for every value that is not listed: a module's diagnostic.
const Cli::OptionCase* Cli::FindOptionCase(int value) {
  constexpr std::uint32_t kInfo = CLI_FLAG_INFORMATION;
  static constexpr std::array kCases{
      OptionCase{'?', &Cli::HandleUnrecognized},
      OptionCase{'A', &Cli::HandleInfoOption, CLI_FLAG_LIST_MODULES, CLI_FLAG_LIST_MODULES | kInfo,
                 0, true},
      OptionCase{'D', &Cli::HandleInfoOption, CLI_FLAG_LIST_DEVICES, CLI_FLAG_LIST_DEVICES | kInfo,
                 0, true},
      OptionCase{'R', &Cli::HandleInfoOption, CLI_FLAG_LIST_DEVICES,
                 CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_RESOURCES | kInfo, 0, true},
      OptionCase{'L', &Cli::HandleInfoOption, CLI_FLAG_LIST_DIAGNOSTICS,
                 CLI_FLAG_LIST_DIAGNOSTICS | kInfo, 0, true},
      OptionCase{'S', &Cli::HandleInfoOption, CLI_FLAG_LIST_TOOLS, CLI_FLAG_LIST_TOOLS | kInfo, 0,
                 true},
      OptionCase{'P', &Cli::HandleInfoOption, CLI_FLAG_LIST_PARAMETERS,
                 CLI_FLAG_LIST_PARAMETERS | kInfo, CLI_FLAG_DIAGNOSTIC, true},
      OptionCase{'V', &Cli::HandleInfoOption, CLI_FLAG_VALIDATE, CLI_FLAG_VALIDATE | kInfo,
                 CLI_FLAG_DIAGNOSTIC, true},
      OptionCase{'h', &Cli::HandleInfoOption, CLI_FLAG_HELP, CLI_FLAG_HELP | kInfo},
      OptionCase{'v', &Cli::HandleInfoOption, CLI_FLAG_VERSION, CLI_FLAG_VERSION | kInfo},
      OptionCase{'C', &Cli::HandleCaller},
      OptionCase{'G', &Cli::HandleGroup},
      OptionCase{'M', &Cli::HandleModule},
      OptionCase{'T', &Cli::HandleTool},
      OptionCase{'U', &Cli::HandleRunAll},
      OptionCase{'W', &Cli::HandleFlag, 0, CLI_FLAG_WMI},
      OptionCase{'r', &Cli::HandleFlag, 0, CLI_FLAG_REMOVE_WMI | CLI_FLAG_NO_ABORT_BANNER},
      OptionCase{'X', &Cli::HandleSupervised},
      OptionCase{'Y', &Cli::HandleFlag, 0, CLI_FLAG_BACKGROUND_INSTANCE, CLI_FLAG_BACKGROUND},
      OptionCase{'b', &Cli::HandleBackground},
      OptionCase{'e', &Cli::HandleDataCollection},
      OptionCase{'o', &Cli::HandleOutput},
      OptionCase{'s', &Cli::HandleSave},
      OptionCase{0, &Cli::HandleDiagnostic},
  };
  const auto* row = std::find_if(kCases.begin(), kCases.end() - 1,
                                 [value](const auto& option) { return option.value == value; });
  return row;
}

int Cli::HandleUnrecognized(OptionScan& scan, const OptionCase& /*option*/) {
  result = kResultUnrecognizedOption;
  return Fail(scan.errorText, kKeyUnrecognizedOption);
}

int Cli::HandleInfoOption(OptionScan& scan, const OptionCase& option) {
  flags |= CLI_FLAG_NO_ABORT_BANNER;
  if (Has(flags, CLI_FLAG_INFORMATION)) {
    if (!Has(flags, option.ownBit)) return Fail(scan.errorText, kKeyTwoKindsOfInformation);
    AddWarning(kKeyDuplicatedOption);
  }
  flags &= ~option.clearBits;
  flags |= option.setBits;
  return kParseOk;
}

int Cli::HandleFlag(OptionScan& /*scan*/, const OptionCase& option) {
  flags &= ~option.clearBits;
  flags |= option.setBits;
  return kParseOk;
}

int Cli::ParseCaller(const std::string& text, CallerInfo& caller) {
  const std::vector<std::string> parts = stringHandler->Tokenize(text, ",");
  const auto commas = static_cast<std::size_t>(std::count(text.begin(), text.end(), ','));
  if (parts.size() < 3 || parts.size() > 4 || commas + 1 != parts.size()) return 1;
  caller.appName = Trimmed(*stringHandler, parts[0]);
  caller.appVersion.clear();
  std::istringstream(Trimmed(*stringHandler, parts[1])) >> caller.appVersion;
  caller.appKey = Trimmed(*stringHandler, parts[2]);
  if (parts.size() == 4) caller.cacheDir = Trimmed(*stringHandler, parts[3]);
  return 0;
}

int Cli::HandleCaller(OptionScan& scan, const OptionCase& /*option*/) {
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyMissingCaller);
  if (ParseCaller(scan.text, callerInfo) != 0) return Fail(scan.errorText, kKeyInvalidCaller);
  if (callerInfo.appName.empty()) return Fail(scan.errorText, kKeyEmptyCaller);
  if (callerInfo.appVersion.empty()) return Fail(scan.errorText, kKeyEmptyVersion);
  if (callerInfo.appKey.empty()) return Fail(scan.errorText, kKeyEmptyAppKey);
  flags |= CLI_FLAG_CALLER;
  return kParseOk;
}

int Cli::HandleGroup(OptionScan& scan, const OptionCase& /*option*/) {
  if (Has(flags, CLI_FLAG_GROUP)) {
    AddWarning(kKeyDuplicatedGroup);
    return kParseOk;
  }
  flags |= CLI_FLAG_GROUP;
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyGroupWithoutArgument);
  std::istringstream(scan.text) >> groupId;
  scan.otherOption = true;
  return kParseOk;
}

int Cli::HandleModule(OptionScan& scan, const OptionCase& /*option*/) {
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyNoModuleChosen);
  // The words up to here belong to the module before, or to none.
  if (ScanWords(NextWordIndex(), optind - 2, scan.argv, scan.errorText) != kParseOk) {
    return kParseFatal;
  }
  currentModule = scan.text;
  stringHandler->ToLower(currentModule);
  if (currentModule != scan.text) AddWarning(kKeyUseLowercase);
  lastModuleArgIndex = optind - 1;
  argsScanned = 0;
  ModuleSelection* selection = selectedModules.Find(currentModule);
  if (selection != nullptr) {
    scan.errorText = kKeyDuplicatedModules;
    AddOnce(duplicatedModules, currentModule);
  } else {
    selection = selectedModules.Add(currentModule);
  }
  selection->module = FindModule(currentModule);
  return ScanDeviceTokens(scan.argc, scan.argv, false, scan.errorText) == kParseOk ? kParseOk
                                                                                   : kParseFatal;
}

int Cli::HandleTool(OptionScan& scan, const OptionCase& /*option*/) {
  if (currentModule.empty()) return Fail(scan.errorText, kKeyToolAfterModule);
  if (selectedModules.size() > 1) return Fail(scan.errorText, kKeyToolOneModule);
  if (scan.otherOption) return Fail(scan.errorText, kKeyToolAlone);
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyNoToolChosen);
  flags |= CLI_FLAG_TOOL;
  if (Has(flags, CLI_FLAG_BACKGROUND)) return Fail(scan.errorText, kKeyToolInBackground);
  if (Has(flags, CLI_FLAG_OUTPUT_FILE)) return Fail(scan.errorText, kKeyToolRedirected);
  toolName = scan.text;
  // The tool scans what follows; only the supervisor's mark is looked for ahead.
  if (scan.argc <= 3) return kParseOk;
  if (std::none_of(scan.argv + 3, scan.argv + scan.argc,
                   [](const char* word) { return std::strcmp(word, "--HDK") == 0; })) {
    return kParseOk;
  }
  if (Has(flags, CLI_FLAG_SUPERVISED)) {
    AddWarning(kKeyDuplicatedOption);
  } else {
    flags |= CLI_FLAG_SUPERVISED;
    scan.otherOption = true;
  }
  return kParseOk;
}

bool Cli::SelectRunAllKind(const std::string& word) {
  struct Kind {
    const char* shortName;
    const char* longName;
    bool Cli::*chosen;
  };
  static constexpr std::array kKinds{Kind{"q", "quick", &Cli::runAllQuick},
                                     Kind{"e", "extended", &Cli::runAllExtended},
                                     Kind{"o", "only-unattended", &Cli::runAllOnlyUnattended}};
  for (const Kind& kind : kKinds) {
    if (word != kind.shortName && word != kind.longName) continue;
    if (this->*kind.chosen) return false;
    this->*kind.chosen = true;
    return true;
  }
  return false;
}

int Cli::HandleRunAll(OptionScan& scan, const OptionCase& /*option*/) {
  runAllQuick = runAllExtended = runAllOnlyUnattended = false;
  bool refused = false;
  if (scan.text != nullptr) {
    for (const std::string& word : stringHandler->Split(scan.text, ',')) {
      if (!SelectRunAllKind(word)) {
        refused = true;
        break;
      }
    }
  }
  if (runAllOnlyUnattended && !runAllQuick && !runAllExtended) runAllQuick = true;
  if (refused) {
    if (modules->empty()) {
      MergeResult(kResultUnrecognizedOption);
    } else {
      result = kResultUnrecognizedOption;
    }
    return Fail(scan.errorText, kKeyUnrecognizedOption);
  }
  flags |= CLI_FLAG_RUN_ALL;
  if (modules->empty()) {
    MergeResult(kResultNoModule);
    return Fail(scan.errorText, kKeyNoModuleLoaded);
  }
  for (DiagModule* module : *modules) {
    std::string name;
    stringHandler->ToLower(module->GetDisplayName(name));
    if (runAllModules.Find(name) != nullptr) {
      AddOnce(duplicatedModules, name);
      scan.errorText = kKeyDuplicatedModules;
      continue;
    }
    runAllModules.Add(name)->module = FindModule(name);
  }
  return kParseOk;
}

int Cli::HandleSupervised(OptionScan& scan, const OptionCase& /*option*/) {
  if (Has(flags, CLI_FLAG_SUPERVISED)) {
    AddWarning(kKeyDuplicatedOption);
    return kParseOk;
  }
  flags |= CLI_FLAG_SUPERVISED;
  flags &= ~CLI_FLAG_BACKGROUND;
  scan.otherOption = true;
  return kParseOk;
}

int Cli::HandleBackground(OptionScan& scan, const OptionCase& /*option*/) {
  if (Has(flags, CLI_FLAG_TOOL)) return Fail(scan.errorText, kKeyToolInBackground);
  if (Has(flags, CLI_FLAG_SUPERVISED)) return kParseOk;
  if (Has(flags, CLI_FLAG_BACKGROUND | CLI_FLAG_BACKGROUND_INSTANCE)) {
    AddWarning(kKeyDuplicatedOption);
  } else {
    flags |= CLI_FLAG_BACKGROUND;
  }
  return kParseOk;
}

int Cli::HandleDataCollection(OptionScan& scan, const OptionCase& /*option*/) {
  flags |= CLI_FLAG_NO_ABORT_BANNER;
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyNoDataCollectionValue);
  if (std::strcmp(scan.text, "1") == 0) {
    flags |= CLI_FLAG_DATA_COLLECTION_VALUE;
  } else if (std::strcmp(scan.text, "0") == 0) {
    flags &= ~CLI_FLAG_DATA_COLLECTION_VALUE;
  } else {
    return Fail(scan.errorText, kKeyInvalidParameter);
  }
  flags |= CLI_FLAG_DATA_COLLECTION_SET;
  return kParseOk;
}

int Cli::HandleOutput(OptionScan& scan, const OptionCase& /*option*/) {
  flags |= CLI_FLAG_NO_ABORT_BANNER;
  if (Has(flags, CLI_FLAG_OUTPUT_FILE)) AddWarning(kKeyDuplicatedOption);
  flags |= CLI_FLAG_OUTPUT_FILE;
  if (!IsMissing(scan.text)) {
    outputFile = scan.text;
  } else {
    if (optind >= scan.argc || scan.argv[optind][0] == '-') {
      return Fail(scan.errorText, kKeyFileNotSpecified);
    }
    outputFile = scan.argv[optind];
    consumedArgs.insert(scan.argv[optind]);
  }
  if (WinFilesystem::Instance().IsInvalidPath(outputFile) != 0) {
    return Fail(scan.errorText, kKeyRedirectionError, kParseRedirection);
  }
  return kParseOk;
}

int Cli::HandleSave(OptionScan& scan, const OptionCase& /*option*/) {
  if (IsMissing(scan.text)) return Fail(scan.errorText, kKeyFileNotSpecified);
  savePath = scan.text;
  tarvex::Descriptor folder;
  if (WinFilesystem::Instance().IsInvalidPath(savePath) != 0 ||
      tarvex::MakeFolderOverOwnLinks(tarvex::ToSystemPath(savePath), folder) != 0) {
    return Fail(scan.errorText, kKeyErrorOpeningFile, kParseFile);
  }
  flags |= CLI_FLAG_SAVE_PATH;
  return kParseOk;
}

int Cli::HandleDiagnostic(OptionScan& scan, const OptionCase& /*option*/) {
  const int code =
      AddDiagnostic(scan.argc, scan.argv, static_cast<char>(scan.value), scan.text, scan.errorText);
  scan.otherOption = true;
  return code;
}
