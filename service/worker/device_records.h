#pragma once

#include <stop_token>

#include "service/protocol/device_record.h"
#include "service/sdk/module.h"

namespace orvan::worker {

// All that the program may want to know of a device; of one that is untestable no row is asked.
// Throws what the device's Id and WhyUntestable throw; what anything else of the module throws is
// in the record.
protocol::DeviceRecord RecordOf(const sdk::Device& device, const sdk::Module& module);
// Its resources, or what the module threw.
protocol::ResourcesAnswer ResourcesOf(const sdk::Device& device, const std::stop_token& stop);

}  // namespace orvan::worker
