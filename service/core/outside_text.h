#pragma once

#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "system/outside_text.h"

// The one way of a module's text, be it a plug-in's or a scenario's, over the boundary: the
// adapters give out nothing but what these made. Any thread.
namespace orvan::core {

using tarvex::InLine;

DeviceInformation InLine(DeviceInformation information);
std::vector<DiagResource> InLine(std::vector<DiagResource> resources);
std::vector<std::string> InLine(std::vector<std::string> texts);

// A module's help, which has lines and tabs of its own.
std::string InLines(std::string text);

// An id as the command line names it and every screen shows it, so that what is shown can be typed.
std::string IdText(const std::string& id);

}  // namespace orvan::core
