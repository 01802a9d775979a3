#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/sdk/machine_files.h"

namespace orvan::machine {

// A namespace that the kernel offers as a block device.
struct NvmeNamespace {
  std::string name;                // "nvme0n1"
  std::uint64_t device = 0;        // sdk::DeviceNumber
  std::uint64_t diskSequence = 0;  // 0: the kernel does not tell it
  bool operator==(const NvmeNamespace&) const = default;
};

struct NvmeNamespaces {
  std::vector<NvmeNamespace> all;  // by name
  int error = 0;                   // why they are not known: not 0, and `all` says nothing
};

// All that an admin command to the namespace with that number may reach: the namespaces of its
// controller and of every other controller of the same subsystem, for some commands go to all of
// them. Those behind hidden paths are the disks that the paths lead to. ENOENT where the kernel
// does not tell them, or tells of a path to a disk that is not there.
NvmeNamespaces FindNvmeNamespaces(const sdk::MachineFiles& files, std::uint64_t device);

}  // namespace orvan::machine
