#include "frontend/option_scanner.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "frontend/cli.h"
#include "frontend/forbidden_bytes.h"
#include "frontend/message_keys.h"
#include "frontend/option_selection.h"
#include "frontend/options.h"
#include "frontend/parse_text.h"

namespace {

constexpr std::uint32_t kHelpOnly = CLI_FLAG_HELP | CLI_FLAG_INFORMATION;

}  // namespace

int OptionScanner::Scan() {
  if (argc_ == 1) {
    cli_.flags |= kHelpOnly;
    return kParseOk;
  }
  if (const int code = CheckArguments(); code != kParseOk) return code;
  if (const int code = ScanOptions(); code != kParseOk) return code;
  // A tool is refused without a module in front of it.
  if (Has(cli_.flags, CLI_FLAG_TOOL)) {
    return ResolveTool(cli_, *CurrentSelection(cli_), argc_, argv_, errorText_);
  }
  return Settle();
}

int OptionScanner::RefuseWithHelp(const char* key) {
  cli_.flags |= kHelpOnly;
  return Fail(errorText_, key);
}

// What is refused before the scanner sees the line.
int OptionScanner::CheckArguments() {
  const OptionConflict* conflict = FindConflict(Moment::kLine, State());
  if (conflict != nullptr) return RefuseWithHelp(conflict->key);
  if (std::any_of(argv_, argv_ + argc_, [](const char* word) { return *word == '\0'; })) {
    return RefuseWithHelp(kKeyUnrecognizedOption);
  }
  if (cli_.modules == nullptr) return Fail(errorText_, kKeyLoadingModulesFailure);
  if (cli_.BuildOptionTable() != 0) return Fail(errorText_, kKeyOptionTableFailure);
  if (argc_ <= 1) cli_.flags |= kHelpOnly;
  for (int i = 1; i < argc_; ++i) {
    if (IsForbiddenFirstByte(argv_[i][0])) return RefuseWithHelp(kKeyUnrecognizedOption);
  }
  return kParseOk;
}

int OptionScanner::ScanOptions() {
  opterr = 0;
  // The scanner permutes its copy; all else reads the line as it was typed.
  std::vector<char*> copy(argv_, argv_ + argc_);
  copy.push_back(nullptr);
  // What stands behind a tool's name belongs to the tool.
  while (!Has(cli_.flags, CLI_FLAG_TOOL)) {
    const int value =
        getopt_long(argc_, copy.data(), cli_.shortOptions.c_str(), cli_.optionTableData, nullptr);
    if (value == -1) break;
    ++cli_.optionsSeen;
    const OptionInHand option{argc_, argv_, static_cast<char>(value), optarg, errorText_};
    if (const int code = Take(FindOption(value), option); code != kParseOk) return code;
  }
  return kParseOk;
}

int OptionScanner::Take(const OptionRow& row, const OptionInHand& option) {
  std::uint32_t& flags = cli_.flags;
  flags |= row.flags.entry;
  if (const OptionConflict* conflict = FindConflict(Moment::kOption, State(&row))) {
    if (conflict->outcome == ConflictOutcome::kDrop) return kParseOk;
    return Fail(errorText_, conflict->key);
  }
  if (Has(flags, row.flags.own)) cli_.AddWarning(kKeyDuplicatedOption);
  if (row.handler.given) {
    if (const int code = row.handler.take(cli_, option); code != kParseOk) return code;
  }
  flags |= row.flags.set;
  flags &= ~BeatenFlags(Moment::kTaken, State(&row));
  otherOption_ = otherOption_ || row.flags.other;
  const OptionConflict* conflict = FindConflict(Moment::kTaken, State(&row));
  return conflict == nullptr ? kParseOk : Fail(errorText_, conflict->key);
}

// What the whole line asks for, where it is no tool.
int OptionScanner::Settle() {
  std::uint32_t& flags = cli_.flags;
  if (cli_.ScanDeviceTokens(argc_, argv_, true, errorText_) != kParseOk) return kParseFatal;
  if (!Has(flags, CLI_FLAG_INFORMATION) && !cli_.selectedModules.empty()) {
    flags |= CLI_FLAG_DIAGNOSTIC;
  }
  if (Has(flags, CLI_FLAG_OUTPUT_FILE)) {
    const int alone = Has(flags, CLI_FLAG_BACKGROUND_INSTANCE) ? 2 : 1;
    if (std::popcount(flags) == alone) flags |= kHelpOnly;
  }
  if (const OptionConflict* conflict = FindConflict(Moment::kScanned, State())) {
    return Fail(errorText_, conflict->key);
  }
  for (auto& [name, selection] : cli_.selectedModules) selection->infoFlags |= InfoFlagsOf(flags);
  return kParseOk;
}

int Cli::ParseCommandLine(int argc, char** argv, std::string& errorText) {
  flags = 0;
  consumedArgs.clear();
  chosenTool = nullptr;
  // For AddDiagnostic, which goes on through the words in hand; afterwards nobody has them in hand.
  line_ = {argc, argv};
  const int code = OptionScanner(*this, argc, argv, errorText).Scan();
  line_ = {};
  return code;
}
