#pragma once

#include <string>

#include "companions/history/options.h"
#include "companions/history/run.h"

namespace tarvex::history {

// One run in that format. Any thread.
std::string RunReport(const LoggedRun& run, Format format);

// A value with its unit, "1.5 GB/s" for 1500000000 of "B/s".
std::string ValueForPeople(double value, const std::string& unit);

}  // namespace tarvex::history
