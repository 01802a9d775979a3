#pragma once

#include <optional>
#include <string>

#include "companions/complete/offer.h"
#include "frontend/options.h"

namespace tarvex::complete {

// An option as it stands in a word: the program's own, or a diagnostic of the module in hand.
struct TypedOption {
  const OptionRow* row = nullptr;
  DiagDiagnostic* diagnostic = nullptr;
  std::string before;               // the word up to the option's text
  std::optional<std::string> text;  // none: the option has none, or not yet
};

// What the word says, as the program's scanner reads it: letters in a row up to one that takes a
// text, or a long name, which may be cut short where it stays the only one. None when it is no
// option. `module` is the one in hand; may be null.
std::optional<TypedOption> ReadOption(const std::string& word, DiagModule* module);

// Whether a text may stand behind the option's letter, and behind its long name.
inline bool TakesText(const OptionRow& row) {
  return row.shortForm == ShortForm::kWithText;
}
// Whether people are to type it.
inline bool IsForPeople(const OptionRow& row) {
  return row.shortForm != ShortForm::kNever;
}

}  // namespace tarvex::complete
