#include "frontend/options.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>
#include <string_view>

#include "boundary/reserved_options.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/option_selection.h"
#include "frontend/parse_text.h"
#include "os/descriptor.h"
#include "os/trusted_path.h"
#include "system/filesystem/win_filesystem.h"
#include "system/string_handler.h"
#include "system/system_path.h"
#include "views/message_keys.h"

namespace {

// A text of blanks only is trimmed to one whose first byte is zero.
std::string Trimmed(StringHandler& handler, std::string text) {
  handler.Trim(text);
  return handler.CopyUntilNul(text);
}

int TakeUnrecognized(Cli& cli, const OptionInHand& option) {
  cli.result = kResultUnrecognizedOption;
  return Fail(option.errorText, kKeyUnrecognizedOption);
}

int TakeDiagnostic(Cli& cli, const OptionInHand& option) {
  return cli.AddDiagnostic(option.letter, option.text, option.errorText);
}

int TakeCaller(Cli& cli, const OptionInHand& option) {
  if (!option.HasText()) return Fail(option.errorText, kKeyMissingCaller);
  CallerInfo& caller = cli.callerInfo;
  if (cli.ParseCaller(option.text, caller) != 0) return Fail(option.errorText, kKeyInvalidCaller);
  if (caller.appName.empty()) return Fail(option.errorText, kKeyEmptyCaller);
  if (caller.appVersion.empty()) return Fail(option.errorText, kKeyEmptyVersion);
  if (caller.appKey.empty()) return Fail(option.errorText, kKeyEmptyAppKey);
  return kParseOk;
}

int TakeGroup(Cli& cli, const OptionInHand& option) {
  if (Has(cli.flags, CLI_FLAG_GROUP)) {
    cli.AddWarning(kKeyDuplicatedGroup);
    return kParseOk;
  }
  cli.flags |= CLI_FLAG_GROUP;
  if (!option.HasText()) return Fail(option.errorText, kKeyGroupWithoutArgument);
  std::istringstream(option.text) >> cli.groupId;
  return kParseOk;
}

int TakeDataCollection(Cli& cli, const OptionInHand& option) {
  if (!option.HasText()) return Fail(option.errorText, kKeyNoDataCollectionValue);
  const std::string_view value = option.text;
  if (value != "0" && value != "1") return Fail(option.errorText, kKeyInvalidParameter);
  cli.flags &= ~CLI_FLAG_DATA_COLLECTION_VALUE;
  if (value == "1") cli.flags |= CLI_FLAG_DATA_COLLECTION_VALUE;
  return kParseOk;
}

int TakeOutput(Cli& cli, const OptionInHand& option) {
  cli.flags |= CLI_FLAG_OUTPUT_FILE;
  if (option.HasText()) {
    cli.outputFile = option.text;
  } else {
    if (optind >= option.argc || option.argv[optind][0] == '-') {
      return Fail(option.errorText, kKeyFileNotSpecified);
    }
    cli.outputFile = option.argv[optind];
    cli.consumedArgs.insert(option.argv[optind]);
  }
  if (WinFilesystem::Instance().IsInvalidPath(cli.outputFile) != 0) {
    return Fail(option.errorText, kKeyRedirectionError, kParseRedirection);
  }
  return kParseOk;
}

int TakeSave(Cli& cli, const OptionInHand& option) {
  if (!option.HasText()) return Fail(option.errorText, kKeyFileNotSpecified);
  cli.savePath = option.text;
  tarvex::Descriptor folder;
  if (WinFilesystem::Instance().IsInvalidPath(cli.savePath) != 0 ||
      tarvex::MakeFolderOverOwnLinks(tarvex::ToSystemPath(cli.savePath), folder) != 0) {
    return Fail(option.errorText, tarvex::kErrorOpeningFileKey, kParseFile);
  }
  return kParseOk;
}

// An option that shows information and runs nothing.
constexpr OptionFlags Shows(std::uint32_t info, std::uint32_t own, std::uint32_t more = 0,
                            bool other = true) {
  return {own, own | more | CLI_FLAG_INFORMATION, CLI_FLAG_NO_ABORT_BANNER, other, info};
}

constexpr int kNoText = no_argument;
constexpr int kText = optional_argument;
using enum ShortForm;

constexpr OptionRow Option(char letter, const char* longName, int longArgument, ShortForm shortForm,
                           OptionFlags flags, OptionHandler handler = {}, HelpLine generalHelp = {},
                           HelpLine moduleHelp = {}) {
  return {letter, longName, longArgument, shortForm, flags, handler, generalHelp, moduleHelp};
}

// One that the help does not show.
constexpr OptionRow Unlisted(const char* summary, OptionRow row) {
  row.unlisted = summary;
  return row;
}

// The order is that of the long options, in which the scanner resolves abbreviations.
constexpr std::array kOptions{
    Option('S', "list-tools", kNoText, kPlain, Shows(kInfoTools, CLI_FLAG_LIST_TOOLS), nullptr, {},
           {"Lists tools of chosen module(s)"}),
    Option('A', "list-modules", kNoText, kPlain, Shows(0, CLI_FLAG_LIST_MODULES), nullptr,
           {"Lists available modules"}),
    Option('D', "list-devices", kNoText, kPlain, Shows(kInfoDevices, CLI_FLAG_LIST_DEVICES),
           nullptr, {}, {"Lists devices of chosen module(s)"}),
    Option('R', "list-resources", kNoText, kPlain,
           Shows(kInfoDevices, CLI_FLAG_LIST_DEVICES, CLI_FLAG_LIST_RESOURCES), nullptr, {},
           {"Lists devices resources of chosen module(s)"}),
    Option('L', "list-diagnostics", kNoText, kPlain,
           Shows(kInfoDiagnostics, CLI_FLAG_LIST_DIAGNOSTICS), nullptr, {},
           {"Lists diagnostics of the selected module(s)"}),
    Unlisted("Lists the parameters of the tests of chosen module(s)",
             Option('P', "list-parameters", kNoText, kWithText,
                    Shows(kInfoParameters, CLI_FLAG_LIST_PARAMETERS))),
    Unlisted("Chooses a module; devices and diagnostics behind it are its own",
             Option('M', "module", kText, kWithText, {}, TakeModule)),
    Option('h', "help", kNoText, kPlain, Shows(kInfoHelp, CLI_FLAG_HELP, 0, false), nullptr,
           {"Shows CLI general help"}, {"Shows the help of the selected module"}),
    Option('v', "version", kNoText, kPlain, Shows(kInfoVersion, CLI_FLAG_VERSION, 0, false),
           nullptr, {"Lists module(s) version"}),
    Unlisted("Files the results under the number of a group of runs",
             Option('G', "group", kText, kWithText, {.other = true}, TakeGroup)),
    Option('T', "tool", kText, kWithText, {.set = CLI_FLAG_TOOL}, TakeTool, {},
           {"Executes a tool of the chosen module", "-T[hint], --tool=[hint]"}),
    Option('b', "background", kNoText, kPlain,
           {CLI_FLAG_BACKGROUND | CLI_FLAG_BACKGROUND_INSTANCE, CLI_FLAG_BACKGROUND}, nullptr,
           {"Runs CLI in background mode"}),
    Unlisted("The second instance of a start in the background; the program gives it itself",
             Option('Y', "obg-instance", kNoText, kNever, {.set = CLI_FLAG_BACKGROUND_INSTANCE})),
    Unlisted("Runs the default, quick, extended or only-unattended diagnostics of all modules",
             Option('U', "run-all", kText, kWithText, {}, TakeRunAll)),
    Unlisted("Names the calling program: name, version, key, cache folder",
             Option('C', "Caller", kText, kWithText, {.set = CLI_FLAG_CALLER}, TakeCaller)),
    Unlisted("Checks tests and parameters on the devices, and runs nothing",
             Option('V', "validate", kText, kWithText, Shows(kInfoValidate, CLI_FLAG_VALIDATE))),
    Unlisted("Moves the log of the service into a folder",
             Option('s', "save", kText, kWithText, {.set = CLI_FLAG_SAVE_PATH}, TakeSave)),
    Unlisted(
        "Speaks the line protocol of a supervising program",
        Option('X', "HDK", kNoText, kNever, {CLI_FLAG_SUPERVISED, CLI_FLAG_SUPERVISED, 0, true})),
    Option(
        'e', "data-collection", kText, kWithText,
        {.set = CLI_FLAG_DATA_COLLECTION_SET, .entry = CLI_FLAG_NO_ABORT_BANNER},
        TakeDataCollection, {},
        {"Enable or disable data collection by passing value 0 or 1", "--data-collection=[value]"}),
    Option('W', "wmi", kNoText, kPlain, {.set = CLI_FLAG_WMI}, nullptr,
           {"Save the logs on WMI services"}),
    // The help names it otherwise; users know it so.
    Option('r', "remove-wmi", kNoText, kPlain,
           {.set = CLI_FLAG_REMOVE_WMI, .entry = CLI_FLAG_NO_ABORT_BANNER}, nullptr,
           {"Erase Tarvex Diagnostics namespace", "-r, --remove"}),
    Option('o', "output", kText, kWithText,
           {.own = CLI_FLAG_OUTPUT_FILE, .entry = CLI_FLAG_NO_ABORT_BANNER}, TakeOutput,
           {"Redirects CLI output to a file"}),
};

constexpr OptionRow kUnrecognized = Option('?', "", kNoText, kNever, {}, TakeUnrecognized);
constexpr OptionRow kOfAModule =
    Option('\0', "", kText, kWithText, {.other = true}, TakeDiagnostic);

constexpr std::string_view kShortOptions = "s::o::SADRLM::hbvG::T::U::C::P::V::e::Wr";
// The letters of the help's lines, in their order.
constexpr std::string_view kGeneralHelpOrder = "AhvobWr";
constexpr std::string_view kModuleHelpOrder = "hLDRSTe";

constexpr const OptionRow* Find(int letter) {
  return std::find_if(kOptions.begin(), kOptions.end(),
                      [letter](const OptionRow& row) { return row.letter == letter; });
}

constexpr const char* SummaryText(const OptionRow& row) {
  if (row.generalHelp.text != nullptr) return row.generalHelp.text;
  return row.moduleHelp.text != nullptr ? row.moduleHelp.text : row.unlisted;
}

constexpr bool EachIsWhole() {
  return std::all_of(kOptions.begin(), kOptions.end(), [](const OptionRow& row) {
    return Find(row.letter) == &row && (row.handler.given || row.flags.set != 0);
  });
}

constexpr bool AreReserved() {
  return std::equal(kOptions.begin(), kOptions.end(), kReservedOptions.begin(),
                    kReservedOptions.end(), [](const OptionRow& row, const ReservedOption& option) {
                      return row.letter == option.letter && row.longName == option.longName;
                    });
}

constexpr bool ShortOptionsAgree() {
  std::size_t typed = 0;
  for (const OptionRow& row : kOptions) {
    const std::size_t place = kShortOptions.find(row.letter);
    if ((place == std::string_view::npos) != (row.shortForm == kNever)) return false;
    if (row.shortForm == kNever) continue;
    const bool withText = kShortOptions.substr(place + 1, 2) == "::";
    if (withText != (row.shortForm == kWithText)) return false;
    typed += withText ? 3 : 1;
  }
  return typed == kShortOptions.size();
}

constexpr bool HelpIsWhole(std::string_view order, HelpLine OptionRow::*help) {
  std::size_t lines = 0;
  for (const OptionRow& row : kOptions) {
    const auto listed = std::count(order.begin(), order.end(), row.letter);
    const bool has = (row.*help).text != nullptr;
    if (listed != (has ? 1 : 0)) return false;
    lines += has ? 1 : 0;
  }
  return lines == order.size();
}

constexpr bool EachIsExplained() {
  return std::all_of(kOptions.begin(), kOptions.end(),
                     [](const OptionRow& row) { return SummaryText(row) != nullptr; });
}

static_assert(EachIsWhole(), "an option has the letter of another, or neither handler nor flag");
static_assert(EachIsExplained(), "an option has neither a help line nor a summary");
static_assert(AreReserved(), "boundary/reserved_options.h tells modules of other options");
static_assert(ShortOptionsAgree(), "the short options are not those of the rows");
static_assert(HelpIsWhole(kGeneralHelpOrder, &OptionRow::generalHelp),
              "the order of the general options is not that of the rows with such a help line");
static_assert(HelpIsWhole(kModuleHelpOrder, &OptionRow::moduleHelp),
              "the order of a module's options is not that of the rows with such a help line");

constexpr std::size_t kHelpColumn = 32;

// A blank at least stands behind each name.
constexpr bool NamesFit(HelpLine OptionRow::*help) {
  constexpr std::size_t kAround = std::string_view("-x, --").size();
  return std::all_of(kOptions.begin(), kOptions.end(), [help](const OptionRow& row) {
    const char* name = (row.*help).name;
    const std::size_t length = name == nullptr ? kAround + std::string_view(row.longName).size()
                                               : std::string_view(name).size();
    return length < kHelpColumn;
  });
}
static_assert(NamesFit(&OptionRow::generalHelp) && NamesFit(&OptionRow::moduleHelp),
              "the help has no room for the name of an option");

constexpr auto kLongOptions = [] {
  std::array<OptionRecord, kOptions.size()> records{};
  std::transform(kOptions.begin(), kOptions.end(), records.begin(), [](const OptionRow& row) {
    return OptionRecord{row.longName, row.longArgument, nullptr, row.letter};
  });
  return records;
}();

std::string HelpLines(std::string_view order, HelpLine OptionRow::*help) {
  std::string lines;
  for (const char letter : order) {
    const OptionRow& row = *Find(letter);
    const HelpLine& line = row.*help;
    std::string name = std::string("-") + letter + ", --" + row.longName;
    if (line.name != nullptr) name = line.name;
    name.resize(kHelpColumn, ' ');
    lines += "    " + name + line.text + "\n";
  }
  return lines;
}

}  // namespace

std::string_view FixedShortOptions() {
  return kShortOptions;
}

std::span<const OptionRecord> FixedLongOptions() {
  return kLongOptions;
}

std::span<const OptionRow> FixedOptions() {
  return kOptions;
}

const char* SummaryOf(const OptionRow& row) {
  return SummaryText(row);
}

const OptionRow& FindOption(int value) {
  if (value == kUnrecognized.letter) return kUnrecognized;
  const OptionRow* row = Find(value);
  return row == kOptions.end() ? kOfAModule : *row;
}

std::uint32_t InfoFlagsOf(std::uint32_t flags) {
  std::uint32_t info = 0;
  for (const OptionRow& row : kOptions) {
    if (Has(flags, row.flags.own)) info |= row.flags.info;
  }
  return info;
}

std::string GeneralOptionsHelp() {
  return HelpLines(kGeneralHelpOrder, &OptionRow::generalHelp);
}

std::string ModuleOptionsHelp() {
  return HelpLines(kModuleHelpOrder, &OptionRow::moduleHelp);
}

int Cli::ParseCaller(const std::string& text, CallerInfo& caller) {
  const std::vector<std::string> parts = stringHandler->Tokenize(text, ",");
  const auto commas = static_cast<std::size_t>(std::count(text.begin(), text.end(), ','));
  if (parts.size() < 3 || parts.size() > 4 || commas + 1 != parts.size()) return 1;
  caller.appName = Trimmed(*stringHandler, parts[0]);
  caller.appVersion.clear();
  std::istringstream(Trimmed(*stringHandler, parts[1])) >> caller.appVersion;
  caller.appKey = Trimmed(*stringHandler, parts[2]);
  if (parts.size() == 4) caller.cacheDir = Trimmed(*stringHandler, parts[3]);
  return 0;
}
