#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "service/modules/storage/health/drive_health.h"
#include "service/sdk/measurement.h"

// What a drive tells of itself in numbers, for the log. Any thread.
namespace orvan::storage {

// "Pending sectors" as a measurement is called: "pending-sectors".
std::string MeasuredName(std::string_view name);

// All of it, by names that are the same in each run, so that courses over runs can be drawn.
// "temperature" (C) and "power-on-hours" (h) are called alike in all drives that tell them. Of an
// ATA drive each attribute is "smart-5-reallocated-sectors", and its normalized value, with the
// threshold as its limit, "smart-5-reallocated-sectors-value".
std::vector<sdk::Measurement> MeasuredOf(const DriveHealth& health);

}  // namespace orvan::storage
