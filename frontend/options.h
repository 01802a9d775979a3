#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "frontend/option_table.h"

class Cli;

// An option that has just come up.
struct OptionInHand {
  int argc;
  char** argv;  // as typed, never permuted
  char letter;
  const char* text;  // its attached argument; null: none
  std::string& errorText;

  bool HasText() const { return text != nullptr && *text != '\0'; }
};

// What an option does besides its flags. A parse code, with the key of a failure in `errorText`.
struct OptionHandler {
  using Function = int(Cli& cli, const OptionInHand& option);

  constexpr OptionHandler() = default;
  constexpr OptionHandler(std::nullptr_t) {}
  constexpr OptionHandler(Function* handler) : take(handler), given(true) {}

  Function* take = nullptr;
  bool given = false;  // with the sanitizers, the compiler cannot tell by the pointer
};

// How an option is typed by its letter.
enum class ShortForm { kNever, kPlain, kWithText };

struct OptionFlags {
  std::uint32_t own = 0;    // when one is set already, the option is a duplicate
  std::uint32_t set = 0;    // set when the option is taken
  std::uint32_t entry = 0;  // set as soon as the option comes up, taken or not
  bool other = false;       // no tool may be chosen behind it
  std::uint32_t info = 0;   // what it shows of each chosen module (ModuleSelection::infoFlags)
};

// A line of the general help; null: none.
struct HelpLine {
  const char* text = nullptr;
  const char* name = nullptr;  // in place of the letter and the long name
};

// All that one option is, but for what it cannot be combined with (option_conflicts.cpp).
struct OptionRow {
  char letter;
  const char* longName;
  int longArgument;  // no_argument or optional_argument
  ShortForm shortForm;
  OptionFlags flags;
  OptionHandler handler{};  // none: the flags are all
  HelpLine generalHelp{};
  HelpLine moduleHelp{};
  const char* unlisted = nullptr;  // what manual and completion say where the help says nothing
};

// The short options that the program itself has.
std::string_view FixedShortOptions();
// The long ones, in the order in which the scanner compares them.
std::span<const OptionRecord> FixedLongOptions();
// Every option of the program, in that order.
std::span<const OptionRow> FixedOptions();
// What people are told that the option does, in a line.
const char* SummaryOf(const OptionRow& row);
// The row for a value of the scanner; one row stands for all diagnostics of modules.
const OptionRow& FindOption(int value);
// What the flags show of each chosen module.
std::uint32_t InfoFlagsOf(std::uint32_t flags);
// The lines of the general help about the program's options, and about those of a module.
std::string GeneralOptionsHelp();
std::string ModuleOptionsHelp();
