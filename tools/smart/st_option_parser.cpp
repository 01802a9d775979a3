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
constexpr std::array kRows{ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation},
                           ToolOptionRow{'l', kToolFlagList | kToolFlagInformation},
                           ToolOptionRow{'i', kToolFlagOperation}};

constexpr ToolGrammar kGrammar{kShortOptions, kLongOptions, kRows, nullptr, kSTAllInvalid};

}  // namespace

STOptionParser::STOptionParser(STUtils& utils, bool bootable)
    : ToolOptionParser(
          kGrammar, utils, [&utils] { utils.filterDevices(true); }, bootable) {}
