#pragma once

#include <cstdint>

#include "tools/recover/rbs_utils.h"
#include "tools/tool_option_parser.h"

// Bits of the flags word beside those that both tools have.
inline constexpr std::uint32_t kRbsFlagRepair = 4;
inline constexpr std::uint32_t kRbsFlagVersion = 32;  // no option sets it
inline constexpr std::uint32_t kRbsFlagNoEscape = 64;
inline constexpr std::uint32_t kRbsFlagYes = 128;  // repairs without a question
inline constexpr std::uint32_t kRbsFlagSupervised = 256;

// Which options there are. Lives as long as the program.
const ToolGrammar& RbsGrammar();

// The options of the Recover Bad Sectors tool. Main thread.
class RbsOptionParser : public ToolOptionParser {
 public:
  // The utilities outlive the parser.
  RbsOptionParser(RbsUtils& utils, bool bootable);
};
