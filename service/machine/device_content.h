#pragma once

#include <cstdint>
#include <string>

#include "service/sdk/block_writer.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// What was found on a block device: kNone, kHoldsData with what it is, or kUnknownContent.
struct DeviceContent {
  sdk::WriteRefusal refusal = sdk::WriteRefusal::kNone;
  int error = 0;
  std::string what = {};
};

// Looks for partitions, partition tables and signatures on the device with that number, which is
// open as `fd`, past the page cache. For the time of the look `fd` goes through the cache. Changes
// nothing on the device. May hang.
DeviceContent FindContent(const sdk::MachineFiles& files, std::uint64_t device, int fd);

}  // namespace orvan::machine
