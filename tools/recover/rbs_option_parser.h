#pragma once

#include <cstdint>

#include "tools/recover/rbs_utils.h"
#include "tools/tool_command_line.h"

class ToolSpinner;

// Bits of the flags word beside those that both tools have.
inline constexpr std::uint32_t kRbsFlagRepair = 4;
inline constexpr std::uint32_t kRbsFlagVersion = 32;  // no option sets it
inline constexpr std::uint32_t kRbsFlagNoEscape = 64;
inline constexpr std::uint32_t kRbsFlagYes = 128;  // repairs without a question
inline constexpr std::uint32_t kRbsFlagSupervised = 256;

// Reads what stands behind the tool's option. Main thread.
class RbsOptionParser {
 public:
  // The utilities outlive the parser.
  RbsOptionParser(RbsUtils& utils, bool bootable) : utils_(utils), bootable_(bootable) {}

  // As tarvex::ParseToolLine. Where the line is about devices it has them filtered, while the
  // spinner shows it.
  bool Parse(int argc, char** argv, ToolSpinner& spinner, ToolCommandLine& line) const;
  // Whether the system is bootable, as the program says. No option depends on it.
  bool bootable() const { return bootable_; }

 private:
  RbsUtils& utils_;
  const bool bootable_;
};
