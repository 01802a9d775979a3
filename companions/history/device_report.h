#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "companions/history/options.h"
#include "companions/history/run_index.h"

// What is known of devices, over all runs. Any thread.
namespace tarvex::history {

std::string DevicesReport(const std::vector<KnownDevice>& devices, Format format);

// So many runs stand beside each other as people read them.
inline constexpr std::size_t kRunsShown = 5;
// The course of one device over its runs, which are oldest first; there is at least one. As text
// the last kRunsShown of them are enough. `count` is that of all.
std::string CourseReport(const std::vector<DeviceRun>& runs, std::size_t count, Format format);

}  // namespace tarvex::history
