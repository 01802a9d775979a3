#pragma once

#include <getopt.h>

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

// Bits of a tool's flags word that both tools have.
inline constexpr std::uint32_t kToolFlagHelp = 1;
inline constexpr std::uint32_t kToolFlagList = 2;
inline constexpr std::uint32_t kToolFlagInformation = 8;  // an information screen is wanted
inline constexpr std::uint32_t kToolFlagOperation = 16;   // device arguments apply

// The bits that an option sets. Options that are in no row set none.
struct ToolOptionRow {
  int value;
  std::uint32_t bits;
  const char* summary = nullptr;  // what manual and completion say of it; null: nothing
};

// What differs between the tools' command lines. "-b", "-o" and unknown options are refused alike.
struct ToolGrammar {
  const char* shortOptions;
  std::span<const option> longOptions;  // a record of zeros ends them
  std::span<const ToolOptionRow> rows;
  // The last word about the flags before a line without any valid option becomes a wish for help.
  // May be null.
  std::uint32_t (*adjustFlags)(std::uint32_t flags);
  const char* allInvalidKey;  // the error of a line that names devices and no valid one
};

// What the check of device arguments needs of the devices.
struct ToolDeviceSource {
  std::function<void()> filter;  // reads the devices; called once, before the first `knows`
  std::function<bool(const std::string& id)> knows;
};

// A tool's command line once it is read. Errors and warnings are keys.
struct ToolCommandLine {
  std::uint32_t flags = 0;
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
  std::set<std::string> devices;  // ids that the line names and the module has; empty: all
};

namespace tarvex {

// Reads what stands behind the tool option, from where the program's own scan of the options has
// stopped; a line of three arguments or fewer has nothing there. False when `line` holds an error.
// Main thread.
bool ParseToolLine(int argc, char** argv, const ToolGrammar& grammar,
                   const ToolDeviceSource& devices, ToolCommandLine& line);

}  // namespace tarvex
