#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/forbidden_bytes.h"
#include "frontend/message_keys.h"
#include "frontend/option_scan.h"
#include "system/outside_text.h"
#include "system/string_handler.h"

namespace {

constexpr std::uint32_t kHelpOnly = CLI_FLAG_HELP | CLI_FLAG_INFORMATION;

// Whether "-r" stands on the line together with anything else. A recovery tool has a "-r" of its
// own, so its name ends the search.
bool IsMisplacedErase(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    if (std::strcmp(argv[i], "-Trecover") == 0) return false;
    if (std::strcmp(argv[i], "-r") == 0) {
      return !(argc == 2 && std::strcmp(argv[1], "-r") == 0);
    }
  }
  return false;
}

// What a line may not ask for, in the order of the checks.
struct Conflict {
  bool (*holds)(const Cli& cli);
  const char* key;
};
constexpr std::array kConflicts{
    Conflict{[](const Cli& cli) {
               return Has(cli.flags, CLI_FLAG_INFORMATION) && Has(cli.flags, CLI_FLAG_DIAGNOSTIC);
             },
             kKeyInformationAndDiagnostic},
    Conflict{[](const Cli& cli) {
               return Has(cli.flags, CLI_FLAG_DEVICES_CHOSEN) &&
                      !Has(cli.flags, CLI_FLAG_DIAGNOSTIC | CLI_FLAG_VALIDATE);
             },
             kKeyUnnecessaryDevices},
    Conflict{[](const Cli& cli) {
               return Has(cli.flags, CLI_FLAG_LIST_MODULES) && !cli.selectedModules.empty();
             },
             kKeyModuleNotNeeded},
    Conflict{[](const Cli& cli) {
               return Has(cli.flags, CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_TOOLS |
                                         CLI_FLAG_LIST_DIAGNOSTICS) &&
                      cli.selectedModules.empty();
             },
             kKeyModuleNeeded},
    // The key speaks of parameters; it is what users of run-all with a module have always seen.
    Conflict{[](const Cli& cli) {
               return Has(cli.flags, CLI_FLAG_RUN_ALL) && Has(cli.flags, CLI_FLAG_DIAGNOSTIC);
             },
             kKeyInvalidParametersFormat},
};

// Which global flag shows what of each module.
struct InfoFlag {
  std::uint32_t global;
  std::uint32_t info;
};
constexpr std::array kInfoFlags{
    InfoFlag{CLI_FLAG_HELP, kInfoHelp},
    InfoFlag{CLI_FLAG_VERSION, kInfoVersion},
    InfoFlag{CLI_FLAG_LIST_DEVICES, kInfoDevices},
    InfoFlag{CLI_FLAG_LIST_DIAGNOSTICS, kInfoDiagnostics},
    InfoFlag{CLI_FLAG_LIST_TOOLS, kInfoTools},
    InfoFlag{CLI_FLAG_LIST_PARAMETERS, kInfoParameters},
    InfoFlag{CLI_FLAG_VALIDATE, kInfoValidate},
};

}  // namespace

int Cli::BuildOptionTable() {
  shortOptions = kFixedShortOptions;
  optionTable.Clear();
  for (const OptionRecord& record : kFixedLongOptions) optionTable.Add(record);
  for (DiagModule* module : *modules) {
    const DiagCatalogue* catalogue = module->Catalogue();
    if (catalogue == nullptr) continue;
    for (const auto& [key, entry] : *catalogue) {
      std::string name;
      std::string option;
      if (entry == nullptr || entry->Option(option).empty()) continue;
      optionTable.AddOptionalArgument(entry->LongName(name), option.front());
      shortOptions += option.front();
      shortOptions += "::";
    }
  }
  optionTable.Close();
  optionTableData = optionTable.Data();
  return 0;
}

int Cli::ParseCommandLine(int argc, char** argv, std::string& errorText) {
  flags = 0;
  consumedArgs.clear();
  chosenTool = nullptr;
  if (argc == 1) {
    flags |= kHelpOnly;
    return kParseOk;
  }
  if (const int code = CheckArguments(argc, argv, errorText); code != kParseOk) return code;

  OptionScan scan{argc, argv, errorText, false};
  if (const int code = ScanOptions(scan); code != kParseOk) return code;
  if (Has(flags, CLI_FLAG_TOOL)) return ResolveTool(errorText);

  if (ScanDeviceTokens(argc, argv, true, errorText) != kParseOk) return kParseFatal;
  if (!Has(flags, CLI_FLAG_INFORMATION) && !selectedModules.empty()) flags |= CLI_FLAG_DIAGNOSTIC;
  if (Has(flags, CLI_FLAG_OUTPUT_FILE)) {
    const int alone = Has(flags, CLI_FLAG_BACKGROUND_INSTANCE) ? 2 : 1;
    if (std::popcount(flags) == alone) flags |= kHelpOnly;
  }
  if (const int code = CheckConflicts(errorText); code != kParseOk) return code;
  CopyInfoFlags();
  return kParseOk;
}

// What is refused before the scanner sees the line.
int Cli::CheckArguments(int argc, char** argv, std::string& errorText) {
  const auto refuse = [&](const char* key) {
    flags |= kHelpOnly;
    errorText = key;
    return kParseFatal;
  };
  if (IsMisplacedErase(argc, argv)) return refuse(kKeyEraseNamespaceUsage);
  if (std::any_of(argv, argv + argc, [](const char* text) { return *text == '\0'; })) {
    return refuse(kKeyUnrecognizedOption);
  }
  if (modules == nullptr) {
    errorText = kKeyLoadingModulesFailure;
    return kParseFatal;
  }
  if (BuildOptionTable() != 0) {
    errorText = kKeyOptionTableFailure;
    return kParseFatal;
  }
  if (argc <= 1) flags |= kHelpOnly;
  for (int i = 1; i < argc; ++i) {
    if (IsForbiddenFirstByte(argv[i][0])) return refuse(kKeyUnrecognizedOption);
  }
  return kParseOk;
}

int Cli::ScanOptions(OptionScan& scan) {
  opterr = 0;
  // The scanner permutes its copy; all else reads the line as it was typed.
  std::vector<char*> copy(scan.argv, scan.argv + scan.argc);
  copy.push_back(nullptr);
  for (;;) {
    const int value =
        getopt_long(scan.argc, copy.data(), shortOptions.c_str(), optionTableData, nullptr);
    if (value == -1) return kParseOk;
    ++optionsSeen;
    scan.value = value;
    scan.text = optarg;
    const OptionCase& option = *FindOptionCase(value);
    if (const int code = (this->*option.handler)(scan, option); code != kParseOk) return code;
    scan.otherOption = scan.otherOption || option.setsOtherOption;
    if (value == 'T') return kParseOk;
  }
}

int Cli::CheckConflicts(std::string& errorText) {
  const auto* conflict =
      std::find_if(kConflicts.begin(), kConflicts.end(),
                   [this](const Conflict& candidate) { return candidate.holds(*this); });
  if (conflict == kConflicts.end()) return kParseOk;
  errorText = conflict->key;
  return kParseFatal;
}

void Cli::CopyInfoFlags() {
  for (auto& [name, selection] : selectedModules) {
    for (const InfoFlag& row : kInfoFlags) {
      if (Has(flags, row.global)) selection->infoFlags |= row.info;
    }
  }
}

DiagModule* Cli::FindModule(const std::string& name) {
  if (modules == nullptr) return nullptr;
  for (DiagModule* module : *modules) {
    std::string displayName;
    stringHandler->ToLower(module->GetDisplayName(displayName));
    if (displayName == name) return module;
  }
  return nullptr;
}

DiagTool* Cli::FindTool(ModuleSelection& selection, const std::string& name) {
  selection.tools = selection.module->Tools();
  if (selection.tools == nullptr) return nullptr;
  std::string wanted = name;
  stringHandler->ToLower(wanted);
  for (DiagTool* tool : *selection.tools) {
    std::string hint;
    stringHandler->ToLower(tool->GetHint(hint));
    if (hint == wanted) return tool;
  }
  return nullptr;
}

int Cli::ResolveTool(std::string& errorText) {
  const std::string module = tarvex::InLine(currentModule);
  const std::string tool = tarvex::InLine(toolName);
  ModuleSelection* selection = CurrentSelection();
  if (selection == nullptr || selection->module == nullptr) {
    MergeResult(kResultNoModule);
    errorText = std::string(kKeyFollowingModulesMissing) + ": " + module + " - hence the " + tool +
                " tool can not be executed";
    return kParseFatal;
  }
  chosenTool = FindTool(*selection, toolName);
  if (chosenTool != nullptr) {
    chosenToolModule = FindModule(currentModule);
    return kParseOk;
  }
  MergeResult(kResultNoTool);
  errorText = "The following tool is not available to the " + module + " module: " + tool +
              "\n\n> |Available tools to " + module + " module: ";
  if (selection->tools != nullptr) {
    for (DiagTool* offered : *selection->tools) {
      std::string hint;
      errorText += offered->GetHint(hint);
    }
  }
  return kParseFatal;
}

ModuleSelection* Cli::CurrentSelection() {
  return currentModule.empty() ? nullptr : selectedModules.Find(currentModule);
}
