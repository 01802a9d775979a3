#pragma once

#include <string>
#include <vector>

#include "companions/history/archive.h"
#include "companions/history/options.h"

namespace tarvex::history {

// The runs in that format. Any thread.
std::string ListReport(const std::vector<RunSummary>& runs,
                       const std::vector<PassedOver>& passedOver, Format format);

// "2026-11-21 08:00:00" of a time as logs have it; "-" for none.
std::string TimeForPeople(const std::string& time);

}  // namespace tarvex::history
