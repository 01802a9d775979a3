#pragma once

#include <functional>
#include <string>

#include "companions/history/options.h"

namespace tarvex::history {

// Loads the runs of all logs into the database that the options name, the oldest first
// (docs/fleet.md). `tell` gets each line for the operator as it comes. The exit status.
int LoadIntoDatabase(const Options& options, const std::function<void(const std::string&)>& tell);

}  // namespace tarvex::history
