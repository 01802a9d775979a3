#include "tools/recover/rbs_option_parser.h"

#include <array>

#include "system/flag_bits.h"
#include "tools/recover/message_keys.h"

namespace {

constexpr char kShortOptions[] = "o::rlhby";
constexpr std::array kLongOptions{option{"repair", no_argument, nullptr, 'r'},
                                  option{"list-devices", no_argument, nullptr, 'l'},
                                  option{"help", no_argument, nullptr, 'h'},
                                  option{"output", optional_argument, nullptr, 'o'},
                                  option{"background", no_argument, nullptr, 'b'},
                                  option{"yes", optional_argument, nullptr, 'y'},
                                  option{"HDK", no_argument, nullptr, 'X'},
                                  option{nullptr, 0, nullptr, 0}};
constexpr std::array kRows{
    ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation | kRbsFlagNoEscape},
    ToolOptionRow{'l', kToolFlagList | kToolFlagInformation | kRbsFlagNoEscape},
    ToolOptionRow{'r', kRbsFlagRepair | kToolFlagOperation},
    ToolOptionRow{'y', kRbsFlagYes},
    ToolOptionRow{'X', kRbsFlagSupervised},
};

// A supervising program wants neither help nor version.
std::uint32_t ForSupervisor(std::uint32_t flags) {
  if (!Has(flags, kRbsFlagSupervised)) return flags;
  return (flags & ~(kToolFlagHelp | kRbsFlagVersion)) | kRbsFlagNoEscape;
}

constexpr ToolGrammar kGrammar{kShortOptions, kLongOptions, kRows, &ForSupervisor, kRbsAllInvalid};

}  // namespace

RbsOptionParser::RbsOptionParser(RbsUtils& utils, bool bootable)
    : ToolOptionParser(
          kGrammar, utils, [&utils] { utils.filterDevices(true, false); }, bootable) {}
