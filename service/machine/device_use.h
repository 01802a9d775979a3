#pragma once

#include <cstdint>
#include <functional>
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

// Asks which device lies under the loop device of that name: 0 and its number, or 0 and 0 when that
// is a file, or none any more; else the errno. May hang.
using LoopGround = std::function<int(const std::string& name, std::uint64_t& device)>;
int AskLoopGround(const std::string& name, std::uint64_t& device);

// Looks whether the device with that number, a partition of it, or the disk that it is a partition
// of is mounted, used as swap space or held by another device; a loop device over one of them is
// none of the kernel's holders, and is asked for. What goes on in another mount namespace is not
// seen here, and that is why the opening is exclusive.
DeviceUse FindUse(const sdk::MachineFiles& files, std::uint64_t device,
                  const LoopGround& ground = AskLoopGround);

}  // namespace orvan::machine
