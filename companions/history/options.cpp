#include "companions/history/options.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "system/folders.h"
#include "system/outside_text.h"

namespace tarvex::history {
namespace {

constexpr std::size_t kColumn = 24;  // of the help, where the words begin

constexpr std::array kOptions = {
    OptionRow{"text", 0, "", "for people to read (the standard)"},
    OptionRow{"json", 0, "", "for programs; docs/history.md describes it"},
    OptionRow{"csv", 0, "", "for spreadsheets"},
    OptionRow{"logs", 0, "FOLDER",
              "logs there and below, not those of the state folder; may be repeated"},
    OptionRow{"state", 0, "FOLDER", "the state folder of the program"},
    OptionRow{"to", 0, "ADDRESS",
              "loads the runs into a fleet's database, postgresql://...; docs/fleet.md"},
    OptionRow{"prometheus", 0, "[FILE]",
              "the last runs as metrics; the file is replaced as a whole"},
    OptionRow{"junit", 0, "[RUN]", "one run, or the last one, as build systems read it"},
    OptionRow{"output", 'o', "FILE", "the answer goes there, and replaces what was there"},
    OptionRow{"help", 'h', "", "this help"},
    OptionRow{"version", 'V', "", "the version"},
};

constexpr std::array kCommands = {
    CommandRow{"list", "", "the runs, newest first; what is done when no command is given"},
    CommandRow{"run", "RUN", "one run: its tests, what they said and measured"},
    CommandRow{"devices", "", "the devices that were tested, and how they are"},
    CommandRow{"device", "DEVICE", "a device's course over its runs"},
    CommandRow{"records", "", "execution records, and which of them have a log"},
    CommandRow{"worse", "[RUN]", "what is worse in the run, or the last one, than before"},
};

const CommandRow* CommandOf(const std::string& word) {
  const auto* const found =
      std::find_if(kCommands.begin(), kCommands.end(),
                   [&word](const CommandRow& row) { return word == row.word; });
  return found != kCommands.end() ? found : nullptr;
}

bool MayBeLeftOut(const OptionRow& row) {
  return *row.argument == '[';
}

void Set(ParsedOptions& parsed, const std::string& name, const char* argument) {
  Options& options = parsed.options;
  if (name == "text") options.format = Format::kText;
  if (name == "json") options.format = Format::kJson;
  if (name == "csv") options.format = Format::kCsv;
  if (name == "help") options.wantsHelp = true;
  if (name == "version") options.wantsVersion = true;
  if (name == "state") options.state = argument;
  if (name == "to") options.database = argument;
  if (name == "logs") options.logs.emplace_back(argument);
  if (name == "prometheus") options.wantsMetrics = true;
  if (name == "prometheus" && argument != nullptr) options.metricsFile = argument;
  if (name == "junit") options.junitRun = argument != nullptr ? argument : kLastRun;
  if (name == "output") options.output = argument;
}

void Take(ParsedOptions& parsed, const OptionRow& row, const char* argument) {
  if (argument != nullptr && *argument == '\0') {
    parsed.fault = std::string("--") + row.name + " needs a value";
    return;
  }
  Set(parsed, row.name, argument);
}

const OptionRow& RowOf(int letter) {
  return *std::find_if(kOptions.begin(), kOptions.end(),
                       [letter](const OptionRow& row) { return row.letter == letter; });
}

std::vector<option> LongOptions() {
  std::vector<option> rows;
  for (const OptionRow& row : kOptions) {
    const int takes = *row.argument == '\0' ? no_argument
                      : MayBeLeftOut(row)   ? optional_argument
                                            : required_argument;
    rows.push_back({row.name, takes, nullptr, 0});
  }
  rows.push_back({nullptr, 0, nullptr, 0});
  return rows;
}

std::string ShortOptions() {
  std::string letters(":");
  for (const OptionRow& row : kOptions) {
    if (row.letter == 0) continue;
    letters += row.letter;
    if (*row.argument != '\0') letters += ':';
  }
  return letters;
}

std::string Quoted(const std::string& argument) {
  return '"' + WithoutSteering(argument) + '"';
}

// What is asked for is one thing: a command, or what an option says in place of one.
std::string WhyNotTogether(const Options& options, int commands) {
  std::vector<std::string> asked;
  if (options.database) asked.emplace_back("--to");
  if (options.wantsMetrics) asked.emplace_back("--prometheus");
  if (!options.junitRun.empty()) asked.emplace_back("--junit");
  if (commands > 0) asked.push_back(Quoted(options.command));
  if (asked.size() > 1) return asked[0] + " and " + asked[1] + " can't be had at once";
  const bool goesNowhere = options.database || !options.metricsFile.empty();
  if (goesNowhere && !options.output.empty()) return "--output says nothing beside " + asked[0];
  return {};
}

void TakeOperands(ParsedOptions& parsed, int count, char** words) {
  Options& options = parsed.options;
  options.command = count > 0 ? words[0] : kCommands.front().word;
  if (count > 1) options.operand = words[1];
  const CommandRow* const command = CommandOf(options.command);
  if (command == nullptr) {
    parsed.fault = "there is no command " + Quoted(options.command);
    return;
  }
  if (parsed.fault = WhyNotTogether(options, count); !parsed.fault.empty()) return;
  const bool takesOne = *command->operand != '\0';
  const bool needsOne = takesOne && *command->operand != '[';
  if (needsOne && options.operand.empty()) {
    parsed.fault = options.command + " needs a " + command->operand;
  } else if (count > (takesOne ? 2 : 1)) {
    parsed.fault = "nothing is expected behind it: " + Quoted(words[count - 1]);
  }
}

}  // namespace

std::span<const OptionRow> OptionRows() {
  return kOptions;
}

std::span<const CommandRow> CommandRows() {
  return kCommands;
}

ParsedOptions ParseOptions(int argc, char** argv) {
  ParsedOptions parsed;
  parsed.options.state = StateFolder();
  const std::vector<option> rows = LongOptions();
  const std::string letters = ShortOptions();
  optind = 0;  // from the beginning, whoever has called before
  int at = -1;
  int found = 0;
  while (parsed.fault.empty() &&
         (found = getopt_long(argc, argv, letters.c_str(), rows.data(), &at)) != -1) {
    const std::string said = optind > 0 && optind <= argc ? argv[optind - 1] : "";
    if (found == '?') {
      parsed.fault = "there is no option " + Quoted(said) + ", or it takes no value";
    } else if (found == ':') {
      parsed.fault = Quoted(said) + " needs a value";
    } else {
      Take(parsed, found == 0 ? kOptions.at(static_cast<std::size_t>(at)) : RowOf(found), optarg);
    }
  }
  if (parsed.fault.empty()) TakeOperands(parsed, argc - optind, argv + optind);
  if (parsed.options.logs.empty()) parsed.options.logs = {parsed.options.state + "/log"};
  return parsed;
}

std::string HelpText() {
  const auto line = [](std::string left, const char* right) {
    left = "  " + left;
    left.resize(std::max(left.size() + 1, kColumn), ' ');
    return left + right + '\n';
  };
  std::string text =
      "Usage: tarvex-history [OPTIONS] [COMMAND]\n"
      "Shows what earlier runs of TarvexDiagnosticsCLI found.\n\nCommands:\n";
  for (const CommandRow& row : kCommands) {
    text += line(std::string(row.word) + (*row.operand != '\0' ? " " : "") + row.operand, row.help);
  }
  text +=
      "\nRUN is the path of a log, the beginning of a run's name, or \"last\".\n"
      "DEVICE is a key, a serial number or a name, as \"devices\" shows them; KEY@MACHINE where\n"
      "several have that key.\n\nOptions:\n";
  for (const OptionRow& row : kOptions) {
    const std::string letter = row.letter != 0 ? std::string("-") + row.letter + ", " : "";
    std::string argument = *row.argument != '\0' ? " " + std::string(row.argument) : "";
    if (MayBeLeftOut(row)) argument = "[=" + std::string(row.argument).substr(1);
    text += line(letter + "--" + row.name + argument, row.help);
  }
  return text +
         "\nFiles that can't be read as a log are named on standard error and passed over.\n"
         "Exit status: 0; 1 what was asked for is not there or can't be written; 2 wrong use.\n";
}

}  // namespace tarvex::history
