#pragma once

#include <cstdint>
#include <string>

#include "service/sdk/block_writer.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// Who uses a block device.
struct DeviceUse {
  sdk::WriteRefusal refusal = sdk::WriteRefusal::kNone;
  int error = 0;
  std::string user = {};
};

// Looks whether the device with that number, a partition of it, or the disk that it is a partition
// of is mounted, used as swap space or held by another device. What goes on in another mount
// namespace is not seen here, and that is why the opening is exclusive.
DeviceUse FindUse(const sdk::MachineFiles& files, std::uint64_t device);

}  // namespace orvan::machine
