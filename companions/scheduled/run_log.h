#pragma once

#include <set>
#include <string>

#include "companions/history/run_reader.h"

// Which log belongs to a run that has just ended. Any thread.
namespace tarvex::scheduled {

// What the runs are called that have a log in the folder. No clock is asked which of them are new,
// for it may be set while a run goes on.
std::set<std::string> RunsIn(const std::string& folder);

// Of the logs in the folder the newest that a process of that number has written, and whose run is
// not among those that were there `before`; none, with a reason: it left no log, or a broken one.
history::ReadLog LogOfProcess(const std::string& folder, int process,
                              const std::set<std::string>& before);

}  // namespace tarvex::scheduled
