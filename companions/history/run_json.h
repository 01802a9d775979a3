#pragma once

#include <string>

#include "companions/history/run.h"

namespace tarvex::history {

// One run as JSON, as docs/history.md has it: one line without its end. Any thread.
std::string JsonOf(const LoggedRun& run);

// One device, as it stands wherever the JSON has one. Any thread.
std::string DeviceJson(const RunDevice& device);

// Of a text that may not be there: null for "".
std::string TextOrNull(const std::string& text);
std::string NumberOrNull(const std::optional<double>& value);

}  // namespace tarvex::history
