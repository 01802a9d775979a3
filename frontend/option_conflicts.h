#pragma once

#include <cstdint>
#include <string_view>

class Cli;
struct OptionRow;

// When a rule about options that do not go together is looked at.
enum class Moment {
  kLine,     // before the scan
  kOption,   // an option comes up
  kTaken,    // an option was taken
  kScanned,  // the scan is over, and no tool was chosen
  kParsed,   // ParseCommandLine is over, whatever came of it
  kOutput,   // the output channel is chosen
};

// What the rules look at.
struct LineState {
  const Cli& cli;
  int argc = 0;
  char** argv = nullptr;
  const OptionRow* option = nullptr;  // the one in hand
  bool otherOption = false;           // an option was taken behind which there may be no tool
};

// What the flags must be for a rule to hold; 0: no condition.
struct FlagCondition {
  std::uint32_t all = 0;   // all are set
  std::uint32_t any = 0;   // one is set
  std::uint32_t none = 0;  // none is set
};

// What a rule that holds does.
enum class ConflictOutcome {
  kRefuse,  // the line is refused
  kDrop,    // the option in hand is passed over silently
  kClear,   // flags give way silently
};

struct OptionConflict {
  ConflictOutcome outcome;
  const char* key;       // kRefuse: why
  std::uint32_t beaten;  // kClear: which flags
  Moment moment;
  std::string_view options;  // the letters that it is about, where an option is in hand
  FlagCondition flags;
  bool (*holds)(const LineState& state);  // null: no more conditions
};

// The first rule of that moment by which the line is refused or its option dropped; null: none.
const OptionConflict* FindConflict(Moment moment, const LineState& state);
// The flags that silently give way at that moment.
std::uint32_t BeatenFlags(Moment moment, const LineState& state);
