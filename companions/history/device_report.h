#pragma once

#include <string>
#include <vector>

#include "companions/history/options.h"
#include "companions/history/run_index.h"

// What is known of devices, over all runs. Any thread.
namespace tarvex::history {

std::string DevicesReport(const std::vector<KnownDevice>& devices, Format format);

// The course of one device over its runs, which are oldest first; there is at least one.
std::string CourseReport(const std::vector<DeviceRun>& runs, Format format);

}  // namespace tarvex::history
