#include "companions/complete/option_words.h"

#include <algorithm>
#include <vector>

namespace tarvex::complete {
namespace {

// A long name and what it stands for.
struct Named {
  std::string name;
  const OptionRow* row = nullptr;
  DiagDiagnostic* diagnostic = nullptr;
};

std::vector<Named> LongNames(DiagModule* module) {
  std::vector<Named> names;
  for (const OptionRow& row : FixedOptions()) names.push_back({row.longName, &row});
  if (module == nullptr) return names;
  for (const OfferedDiagnostic& one : DiagnosticsOf(*module)) {
    names.push_back({one.longName, nullptr, one.diagnostic});
  }
  return names;
}

std::optional<TypedOption> ReadLong(const std::string& word, DiagModule* module) {
  const std::size_t equals = std::min(word.find('='), word.size());
  const std::string name = word.substr(2, equals - 2);
  std::vector<Named> fitting = LongNames(module);
  std::erase_if(fitting, [&name](const Named& one) { return !one.name.starts_with(name); });
  const auto exact = std::find_if(fitting.begin(), fitting.end(),
                                  [&name](const Named& one) { return one.name == name; });
  if (exact == fitting.end() && fitting.size() != 1) return std::nullopt;
  const Named& found = exact == fitting.end() ? fitting.front() : *exact;
  TypedOption option{found.row, found.diagnostic, word, std::nullopt};
  if (equals == word.size()) return option;
  option.before = word.substr(0, equals + 1);
  option.text = word.substr(equals + 1);
  return option;
}

std::optional<TypedOption> ReadShort(const std::string& word, DiagModule* module) {
  TypedOption option;
  for (std::size_t i = 1; i < word.size(); ++i) {
    option = {};
    for (const OptionRow& row : FixedOptions()) {
      if (row.letter == word[i] && IsForPeople(row)) option.row = &row;
    }
    if (option.row == nullptr && module != nullptr) {
      for (const OfferedDiagnostic& one : DiagnosticsOf(*module)) {
        if (one.letter == word[i]) option.diagnostic = one.diagnostic;
      }
    }
    if (option.row == nullptr && option.diagnostic == nullptr) return std::nullopt;
    option.before = word.substr(0, i + 1);
    if (option.row != nullptr && !TakesText(*option.row)) continue;
    option.text = word.substr(i + 1);
    return option;
  }
  return option;
}

}  // namespace

std::optional<TypedOption> ReadOption(const std::string& word, DiagModule* module) {
  if (word.starts_with("--")) return word.size() > 2 ? ReadLong(word, module) : std::nullopt;
  return word.starts_with("-") && word.size() > 1 ? ReadShort(word, module) : std::nullopt;
}

}  // namespace tarvex::complete
