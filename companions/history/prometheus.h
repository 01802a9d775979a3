#pragma once

#include <string>
#include <vector>

#include "companions/history/run_index.h"

namespace tarvex::history {

// The last run of each machine, and of each device what was found when it was tested last, in
// Prometheus' text format. `devices` are their newest runs. Any thread.
// Source: Prometheus, "Exposition formats", text format 0.0.4; "Metric and label naming".
std::string PrometheusText(const std::vector<RunSummary>& lastRuns,
                           const std::vector<DeviceRun>& devices);

}  // namespace tarvex::history
