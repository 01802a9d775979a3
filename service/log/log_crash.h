#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvan::log {

// Reading the last lines of a log that an earlier run left. What is no whole line of a log, as a
// machine that goes down may leave it, is passed over. Never throws but for want of memory.

// True when the last whole line is the end of the run.
bool HasRunEnd(std::string_view tail);
// The names of the steps that began and did not end.
std::vector<std::string> OpenSteps(std::string_view tail);

}  // namespace orvan::log
