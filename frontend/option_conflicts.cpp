#include "frontend/option_conflicts.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "boundary/reserved_options.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/options.h"

namespace {

// Whether "-r" stands on the line together with anything else. A recovery tool has a "-r" of its
// own, so its name ends the search.
bool IsMisplacedErase(const LineState& state) {
  for (int i = 0; i < state.argc; ++i) {
    const std::string_view word = state.argv[i];
    if (word == "-Trecover") return false;
    if (word == "-r") return state.argc != 2 || std::string_view(state.argv[1]) != "-r";
  }
  return false;
}

using State = const LineState&;
using Condition = bool (*)(State state);

constexpr OptionConflict Refused(const char* key, Moment moment, std::string_view options,
                                 FlagCondition flags, Condition holds = nullptr) {
  return {ConflictOutcome::kRefuse, key, 0, moment, options, flags, holds};
}

constexpr OptionConflict Dropped(std::string_view options, FlagCondition flags) {
  return {ConflictOutcome::kDrop, nullptr, 0, Moment::kOption, options, flags, nullptr};
}

constexpr OptionConflict Beaten(std::uint32_t beaten, Moment moment, std::string_view options,
                                FlagCondition flags) {
  return {ConflictOutcome::kClear, nullptr, beaten, moment, options, flags, nullptr};
}

// All options that refuse each other, and those of which one silently wins, in the order in which
// the rules of a moment are looked at. Behind the name of a tool the tool's own line refuses "-b"
// and "-o" (tools/tool_command_line.cpp).
constexpr std::array kConflicts{
    Refused(kKeyEraseNamespaceUsage, Moment::kLine, "", {}, IsMisplacedErase),

    Refused(kKeyTwoKindsOfInformation, Moment::kOption, "ADRLSPVhv", {.all = CLI_FLAG_INFORMATION},
            [](State state) { return !Has(state.cli.flags, state.option->flags.own); }),
    Refused(kKeyToolAfterModule, Moment::kOption, "T", {},
            [](State state) { return state.cli.currentModule.empty(); }),
    Refused(kKeyToolOneModule, Moment::kOption, "T", {},
            [](State state) { return state.cli.selectedModules.size() > 1; }),
    Refused(kKeyToolAlone, Moment::kOption, "T", {}, [](State state) { return state.otherOption; }),
    Refused(kKeyToolInBackground, Moment::kOption, "b", {.all = CLI_FLAG_TOOL}),
    Dropped("b", {.all = CLI_FLAG_SUPERVISED}),

    Refused(kKeyToolInBackground, Moment::kTaken, "T", {.all = CLI_FLAG_BACKGROUND}),
    Refused(kKeyToolRedirected, Moment::kTaken, "T", {.all = CLI_FLAG_OUTPUT_FILE}),
    Beaten(CLI_FLAG_DIAGNOSTIC, Moment::kTaken, "PV", {}),
    Beaten(CLI_FLAG_BACKGROUND, Moment::kTaken, "XY", {}),
    Beaten(CLI_FLAG_BACKGROUND, Moment::kTaken, "b", {.all = CLI_FLAG_BACKGROUND_INSTANCE}),

    Refused(kKeyInformationAndDiagnostic, Moment::kScanned, "",
            {.all = CLI_FLAG_INFORMATION | CLI_FLAG_DIAGNOSTIC}),
    Refused(kKeyUnnecessaryDevices, Moment::kScanned, "",
            {.all = CLI_FLAG_DEVICES_CHOSEN, .none = CLI_FLAG_DIAGNOSTIC | CLI_FLAG_VALIDATE}),
    Refused(kKeyModuleNotNeeded, Moment::kScanned, "", {.all = CLI_FLAG_LIST_MODULES},
            [](State state) { return !state.cli.selectedModules.empty(); }),
    Refused(kKeyModuleNeeded, Moment::kScanned, "",
            {.any = CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_TOOLS | CLI_FLAG_LIST_DIAGNOSTICS},
            [](State state) { return state.cli.selectedModules.empty(); }),
    // The key speaks of parameters; it is what users of run-all with a module have always seen.
    Refused(kKeyInvalidParametersFormat, Moment::kScanned, "",
            {.all = CLI_FLAG_RUN_ALL | CLI_FLAG_DIAGNOSTIC}),

    Refused(kKeyCallerNeedsDataCollection, Moment::kParsed, "",
            {.all = CLI_FLAG_CALLER, .none = CLI_FLAG_DATA_COLLECTION_SET}),

    // A supervising program reads the lines, so no report is opened.
    Beaten(CLI_FLAG_OUTPUT_FILE, Moment::kOutput, "", {.all = CLI_FLAG_SUPERVISED}),
};

static_assert(std::all_of(kConflicts.begin(), kConflicts.end(),
                          [](const OptionConflict& rule) {
                            return std::all_of(rule.options.begin(), rule.options.end(),
                                               IsOptionLetter);
                          }),
              "a rule names an option that there is not");

bool Holds(const OptionConflict& rule, Moment moment, const LineState& state) {
  const std::uint32_t flags = state.cli.flags;
  const FlagCondition& when = rule.flags;
  return rule.moment == moment &&
         (rule.options.empty() ||
          rule.options.find(state.option->letter) != std::string_view::npos) &&
         HasAll(flags, when.all) && (when.any == 0 || Has(flags, when.any)) &&
         !Has(flags, when.none) && (rule.holds == nullptr || rule.holds(state));
}

}  // namespace

const OptionConflict* FindConflict(Moment moment, const LineState& state) {
  const auto* found = std::find_if(kConflicts.begin(), kConflicts.end(), [&](const auto& rule) {
    return rule.outcome != ConflictOutcome::kClear && Holds(rule, moment, state);
  });
  return found == kConflicts.end() ? nullptr : found;
}

std::uint32_t BeatenFlags(Moment moment, const LineState& state) {
  std::uint32_t beaten = 0;
  for (const OptionConflict& rule : kConflicts) {
    if (Holds(rule, moment, state)) beaten |= rule.beaten;
  }
  return beaten;
}
