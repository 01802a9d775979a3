#pragma once

#include <cstdint>
#include <string>

#include "companions/history/run_reader.h"

// Which log belongs to a run that has just ended. Any thread.
namespace tarvex::scheduled {

// Of the logs in the folder the newest that a process of that number has written, and that was
// written to since then (nanoseconds since the epoch); none, with a reason: it left no log, or a
// broken one.
history::ReadLog LogOfProcess(const std::string& folder, int process, std::int64_t sinceNs);

}  // namespace tarvex::scheduled
