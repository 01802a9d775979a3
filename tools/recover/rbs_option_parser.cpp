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
    ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation | kRbsFlagNoEscape,
                  "Shows the help of the tool"},
    ToolOptionRow{'l', kToolFlagList | kToolFlagInformation | kRbsFlagNoEscape,
                  "Lists the devices that it can repair"},
    ToolOptionRow{'r', kRbsFlagRepair | kToolFlagOperation,
                  "Reads the devices and repairs sectors that cannot be read; data may be lost"},
    ToolOptionRow{'y', kRbsFlagYes, "Begins a repair without the question"},
    ToolOptionRow{'X', kRbsFlagSupervised, nullptr},
};

// A supervising program wants neither help nor version.
std::uint32_t ForSupervisor(std::uint32_t flags) {
  if (!Has(flags, kRbsFlagSupervised)) return flags;
  return (flags & ~(kToolFlagHelp | kRbsFlagVersion)) | kRbsFlagNoEscape;
}

constexpr ToolGrammar kGrammar{kShortOptions, kLongOptions, kRows, &ForSupervisor, kRbsAllInvalid};

}  // namespace

const ToolGrammar& RbsGrammar() {
  return kGrammar;
}

RbsOptionParser::RbsOptionParser(RbsUtils& utils, bool bootable)
    : ToolOptionParser(
          kGrammar, utils, [&utils] { utils.filterDevices(true, false); }, bootable) {}
