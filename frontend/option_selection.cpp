#include "frontend/option_selection.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/options.h"
#include "frontend/parse_text.h"
#include "system/outside_text.h"
#include "system/string_handler.h"

namespace {

constexpr std::array kRunAllKinds{RunAllKind{"q", "quick", &Cli::runAllQuick},
                                  RunAllKind{"e", "extended", &Cli::runAllExtended},
                                  RunAllKind{"o", "only-unattended", &Cli::runAllOnlyUnattended}};

// Chooses the module once more, or anew. A second mention is a warning, whose text stays with a
// later failure that adds to it.
ModuleSelection& Choose(Cli& cli, NamedRecords<ModuleSelection>& chosen, const std::string& name,
                        std::string& errorText) {
  ModuleSelection* selection = chosen.Find(name);
  if (selection != nullptr) {
    errorText = kKeyDuplicatedModules;
    AddOnce(cli.duplicatedModules, name);
    return *selection;
  }
  return *chosen.Add(name);
}

// The tool scans what stands behind its name; only the supervisor's mark is looked for ahead.
void LookForSupervisor(Cli& cli, int argc, char** argv) {
  const auto isMark = [](const char* word) { return std::string_view(word) == "--HDK"; };
  if (argc <= 3 || std::none_of(argv + 3, argv + argc, isMark)) return;
  if (Has(cli.flags, CLI_FLAG_SUPERVISED)) cli.AddWarning(kKeyDuplicatedOption);
  cli.flags |= CLI_FLAG_SUPERVISED;
}

bool TakeRunAllKinds(Cli& cli, const char* text) {
  cli.runAllQuick = cli.runAllExtended = cli.runAllOnlyUnattended = false;
  bool taken = true;
  if (text != nullptr) {
    const std::vector<std::string> words = cli.stringHandler->Split(text, ',');
    taken = std::all_of(words.begin(), words.end(),
                        [&cli](const std::string& word) { return cli.SelectRunAllKind(word); });
  }
  if (cli.runAllOnlyUnattended && !cli.runAllExtended) cli.runAllQuick = true;
  return taken;
}

}  // namespace

int TakeModule(Cli& cli, const OptionInHand& option) {
  if (!option.HasText()) return Fail(option.errorText, kKeyNoModuleChosen);
  // The words in front belong to the module before, or to none; they are all of a shorter line.
  const int shorter = optind - 1;
  if (cli.ScanDeviceTokens(shorter, option.argv, true, option.errorText) != kParseOk) {
    return kParseFatal;
  }
  cli.currentModule = option.text;
  cli.stringHandler->ToLower(cli.currentModule);
  if (cli.currentModule != option.text) cli.AddWarning(kKeyUseLowercase);
  cli.lastModuleArgIndex = optind - 1;
  cli.argsScanned = 0;
  Choose(cli, cli.selectedModules, cli.currentModule, option.errorText).module =
      cli.FindModule(cli.currentModule);
  return cli.ScanDeviceTokens(option.argc, option.argv, false, option.errorText);
}

int TakeTool(Cli& cli, const OptionInHand& option) {
  if (!option.HasText()) return Fail(option.errorText, kKeyNoToolChosen);
  cli.toolName = option.text;
  return kParseOk;
}

int TakeRunAll(Cli& cli, const OptionInHand& option) {
  if (!TakeRunAllKinds(cli, option.text)) {
    if (cli.modules->empty()) {
      cli.MergeResult(kResultUnrecognizedOption);
    } else {
      cli.result = kResultUnrecognizedOption;
    }
    return Fail(option.errorText, kKeyUnrecognizedOption);
  }
  cli.flags |= CLI_FLAG_RUN_ALL;
  if (cli.modules->empty()) {
    cli.MergeResult(kResultNoModule);
    return Fail(option.errorText, kKeyNoModuleLoaded);
  }
  for (DiagModule* module : *cli.modules) {
    std::string name;
    cli.stringHandler->ToLower(module->GetDisplayName(name));
    Choose(cli, cli.runAllModules, name, option.errorText).module = cli.FindModule(name);
  }
  return kParseOk;
}

int ResolveTool(Cli& cli, ModuleSelection& selection, int argc, char** argv,
                std::string& errorText) {
  LookForSupervisor(cli, argc, argv);
  const std::string module = tarvex::InLine(cli.currentModule);
  const std::string tool = tarvex::InLine(cli.toolName);
  if (selection.module == nullptr) {
    cli.MergeResult(kResultNoModule);
    return Fail(errorText, std::string(kKeyFollowingModulesMissing) + ": " + module +
                               " - hence the " + tool + " tool can not be executed");
  }
  cli.chosenTool = cli.FindTool(selection, cli.toolName);
  if (cli.chosenTool != nullptr) {
    cli.chosenToolModule = selection.module;
    return kParseOk;
  }
  cli.MergeResult(kResultNoTool);
  std::string hints;
  if (selection.tools != nullptr) {
    for (DiagTool* offered : *selection.tools) {
      std::string hint;
      hints += offered->GetHint(hint);
    }
  }
  return Fail(errorText, "The following tool is not available to the " + module + " module: " +
                             tool + "\n\n> |Available tools to " + module + " module: " + hints);
}

ModuleSelection* CurrentSelection(const Cli& cli) {
  return cli.currentModule.empty() ? nullptr : cli.selectedModules.Find(cli.currentModule);
}

std::span<const RunAllKind> RunAllKinds() {
  return kRunAllKinds;
}

bool Cli::SelectRunAllKind(const std::string& word) {
  const auto* kind =
      std::find_if(kRunAllKinds.begin(), kRunAllKinds.end(), [&word](const RunAllKind& candidate) {
        return word == candidate.shortName || word == candidate.longName;
      });
  if (kind == kRunAllKinds.end() || this->*kind->chosen) return false;
  return this->*kind->chosen = true;
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
