#include "companions/complete/history_words.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string_view>

#include "companions/complete/path_words.h"
#include "companions/history/options.h"
#include "system/folders.h"

namespace tarvex::complete {
namespace {

namespace fs = std::filesystem;
using history::CommandRow;
using history::OptionRow;

constexpr std::string_view kLogEnd = ".jsonl";

const OptionRow* OptionOf(std::string_view word) {
  for (const OptionRow& row : history::OptionRows()) {
    if (word == std::string("--") + row.name) return &row;
    if (row.letter != 0 && word == std::string("-") + row.letter) return &row;
  }
  return nullptr;
}

const CommandRow* CommandOf(const std::string& word) {
  for (const CommandRow& row : history::CommandRows()) {
    if (word == row.word) return &row;
  }
  return nullptr;
}

// What the argument of an option is, by its name in the help.
void OfferArgument(Answer& answer, const std::string& before, const OptionRow& row) {
  std::string_view kind = row.argument;
  if (kind.starts_with('[')) kind = kind.substr(1, kind.size() - 2);
  if (kind == "FOLDER") OfferPaths(answer, before, PathKind::kFolder);
  if (kind == "FILE") OfferPaths(answer, before, PathKind::kFile);
}

// The latest first, as they are named by the time at which they began.
void OfferRuns(Answer& answer) {
  answer.Offer("last", "the latest run");
  std::vector<std::string> names;
  std::error_code fault;
  for (fs::directory_iterator entry(StateFolder() + "/log", fault), end; !fault && entry != end;
       entry.increment(fault)) {
    const std::string name = entry->path().filename().string();
    if (!name.ends_with(kLogEnd)) continue;
    const std::string run = name.substr(0, name.size() - kLogEnd.size());
    if (IsPlainName(run)) names.push_back(run);
  }
  std::sort(names.begin(), names.end(), std::greater<>());
  for (const std::string& name : names) answer.Offer(name);
}

void OfferOptions(Answer& answer) {
  for (const OptionRow& row : history::OptionRows()) {
    const bool takesText = *row.argument != '\0';
    const bool mayBeLeftOut = *row.argument == '[';
    const std::string name = std::string("--") + row.name;
    if (!takesText || mayBeLeftOut) answer.Offer(name, row.help);
    if (takesText) answer.Offer(name + "=", row.help);
  }
}

}  // namespace

void OfferHistoryWords(Answer& answer, const std::vector<std::string>& words) {
  const std::string& typed = answer.typed();
  const OptionRow* previous = words.size() > 1 ? OptionOf(words.back()) : nullptr;
  if (previous != nullptr && *previous->argument != '\0' && *previous->argument != '[') {
    OfferArgument(answer, "", *previous);
    return;
  }
  const std::size_t equals = typed.find('=');
  if (typed.starts_with("--") && equals != std::string::npos) {
    const OptionRow* row = OptionOf(typed.substr(0, equals));
    if (row != nullptr) OfferArgument(answer, typed.substr(0, equals + 1), *row);
    return;
  }
  const CommandRow* command = nullptr;
  for (std::size_t i = 1; i < words.size() && command == nullptr; ++i) {
    command = CommandOf(words[i]);
  }
  if (command == nullptr) {
    for (const CommandRow& row : history::CommandRows()) answer.Offer(row.word, row.help);
  } else if (std::string_view(command->operand).find("RUN") != std::string_view::npos) {
    OfferRuns(answer);
  }
  if (typed.starts_with('-') || typed.empty()) OfferOptions(answer);
}

}  // namespace tarvex::complete
