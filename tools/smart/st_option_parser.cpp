#include "tools/smart/st_option_parser.h"

#include <array>

#include "tools/smart/message_keys.h"

namespace {

constexpr char kShortOptions[] = "o::ilhb";
constexpr std::array kLongOptions{option{"info", no_argument, nullptr, 'i'},
                                  option{"list-devices", no_argument, nullptr, 'l'},
                                  option{"help", no_argument, nullptr, 'h'},
                                  option{"output", optional_argument, nullptr, 'o'},
                                  option{"background", no_argument, nullptr, 'b'},
                                  option{nullptr, 0, nullptr, 0}};
constexpr std::array kRows{
    ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation, "Shows the help of the tool"},
    ToolOptionRow{'l', kToolFlagList | kToolFlagInformation, "Lists the devices that it can read"},
    ToolOptionRow{'i', kToolFlagOperation, "Shows the SMART attributes of the devices"}};

constexpr ToolGrammar kGrammar{kShortOptions, kLongOptions, kRows, nullptr, kSTAllInvalid};

}  // namespace

const ToolGrammar& STGrammar() {
  return kGrammar;
}

STOptionParser::STOptionParser(STUtils& utils, bool bootable)
    : ToolOptionParser(
          kGrammar, utils, [&utils] { utils.filterDevices(true); }, bootable) {}
