#include <array>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "system/outside_text.h"
#include "views/orvan_stdio.h"

namespace {

// The small complaints that the parser collected, each list with the warning that it becomes.
struct WarningList {
  std::vector<std::string> Cli::*entries;
  const char* key;
  bool newLineBefore;  // a blank line precedes the warning; users know it so
};
constexpr std::array kWarningLists{
    WarningList{&Cli::duplicatedModules, kKeyDuplicatedModules, false},
    WarningList{&Cli::testsTakenAsDevices, kKeyTestsTakenAsDevices, false},
    WarningList{&Cli::duplicatedTests, kKeyDuplicatedTests, true},
    WarningList{&Cli::duplicatedDevices, kKeyDuplicatedDevices, false},
    WarningList{&Cli::testsWithSurplusArguments, kKeySurplusArguments, false},
};

constexpr char kBetweenNames[] = ", ";

std::string JoinNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    if (!text.empty()) text += kBetweenNames;
    text += tarvex::InLine(name);
  }
  return text;
}

}  // namespace

int Cli::ValidateSelections(std::string& errorText) {
  bool noneAvailable = true;
  for (auto& [name, selection] : selectedModules) {
    currentModule = name;
    if (selection->module == nullptr) continue;
    noneAvailable = false;
    if (selection->diagnostics.empty()) selection->defaultDiagnostics = true;
    for (const auto& diagnostic : selection->diagnostics) {
      if (const int code = ParseDiagnostic(diagnostic, errorText); code != kParseOk) return code;
    }
  }
  if (noneAvailable && !selectedModules.empty()) MergeResult(kResultNoModule);
  return kParseOk;
}

void Cli::ComposeWarnings() {
  const auto format = [this](const std::string& key) {
    return view->FormatKey(key, false, true, true);
  };
  std::vector<std::string> earlier;
  earlier.swap(warnings);
  for (const WarningList& list : kWarningLists) {
    const std::vector<std::string>& entries = this->*list.entries;
    if (entries.empty()) continue;
    const std::string text = format(std::string(list.key) + ": ") + JoinNames(entries);
    if (list.newLineBefore) view->PrintNewLine();
    AddWarning(text);
  }
  for (const std::string& warning : earlier) AddWarning(format(warning));
  if (!selectedModules.empty()) ReportUnavailableModules();
}

void Cli::ReportUnavailableModules() {
  if (modules->empty()) {
    AddWarning(kKeyNoModuleLoaded);
    return;
  }
  std::vector<std::string> missing;
  for (const auto& [name, selection] : selectedModules) {
    currentModule = name;
    if (selection->module == nullptr) missing.push_back(name);
  }
  const std::size_t missingCount = missing.size();
  const bool anyMissing = missingCount > 0;
  const bool anyAvailable = missingCount < selectedModules.size();
  if (anyMissing) {
    AddWarning(view->FormatKey(kKeyFollowingModulesMissing, false, true, true) + ": " +
               JoinNames(missing));
  }
  // The run ends in the help, with the warning above it.
  if (!anyAvailable) flags |= CLI_FLAG_INFORMATION | CLI_FLAG_HELP;
}
