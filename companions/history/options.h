#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

// The command line of tarvex-history. Its help, its manual page and the completions are made of the
// tables here.
namespace tarvex::history {

// The word for the newest run that tested something.
inline constexpr char kLastRun[] = "last";

enum class Format { kText, kJson, kCsv };

struct Options {
  Format format = Format::kText;
  std::string state;                    // the state folder
  std::vector<std::string> logs;        // folders with logs
  std::string command;                  // a row's word
  std::string operand;                  // empty when it has none
  bool wantsMetrics = false;            // for Prometheus,
  std::string metricsFile;              // into this file; empty: to standard output
  std::string junitRun;                 // the run that is told in JUnit's format; empty: none
  std::string output;                   // the file that the answer goes to; empty: standard output
  std::optional<std::string> database;  // the address of one to load the runs into
  bool wantsHelp = false;
  bool wantsVersion = false;
};

struct OptionRow {
  const char* name;  // without its hyphens
  char letter;       // or 0
  // What stands for it in the help; empty when it takes none, and "[...]" when it may be left out
  // and is attached by "=".
  const char* argument;
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
