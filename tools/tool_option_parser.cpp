#include "tools/tool_option_parser.h"

#include <utility>

#include "system/flag_bits.h"
#include "tools/tool_devices.h"
#include "tools/tool_keyboard.h"
#include "tools/tool_spinner.h"

ToolOptionParser::ToolOptionParser(const ToolGrammar& grammar, const ToolDevices& devices,
                                   std::function<void()> search, bool bootable)
    : grammar_(grammar), devices_(devices), search_(std::move(search)), bootable_(bootable) {}

bool ToolOptionParser::Parse(int argc, char** argv, ToolSpinner& spinner, ToolKeyboard& keyboard,
                             ToolCommandLine& line) const {
  const ToolDeviceSource source{
      [this, &spinner, &keyboard, &line] {
        if (Has(line.flags, kToolFlagOperation)) keyboard.Take();
        const ToolSpinner::Scan scan(spinner);
        search_();
      },
      [this](const std::string& id) { return devices_.findDevice(id) != nullptr; }};
  return tarvex::ParseToolLine(argc, argv, grammar_, source, line);
}
