#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

// The command line of tarvex-history. Its help, its manual page and the completions are made of the
// tables here.
namespace tarvex::history {

enum class Format { kText, kJson, kCsv };

struct Options {
  Format format = Format::kText;
  std::string state;                    // the state folder
  std::vector<std::string> logs;        // folders with logs
  std::string command;                  // a row's word
  std::string operand;                  // empty when it has none
  std::optional<std::string> database;  // the address of one to load the runs into
  bool wantsHelp = false;
  bool wantsVersion = false;
};

struct OptionRow {
  const char* name;      // without its hyphens
  char letter;           // or 0
  const char* argument;  // what stands for it in the help; empty when it takes none
  const char* help;
};
struct CommandRow {
  const char* word;
  const char* operand;  // "RUN"; "[RUN]" when it may be left out; empty when it has none
  const char* help;
};
std::span<const OptionRow> OptionRows();
std::span<const CommandRow> CommandRows();

struct ParsedOptions {
  Options options;
  std::string fault;  // what is wrong with the command line; empty when nothing is
};
// Takes the state folder from the environment where no option names it. Main thread.
ParsedOptions ParseOptions(int argc, char** argv);

std::string HelpText();

}  // namespace tarvex::history
