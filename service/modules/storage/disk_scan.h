#pragma once

#include <memory>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// Finds the whole disks of a machine, numbered "0", "1", ... in the order of their hardware path.
// Loop devices with a backing file take part when `includeLoop` is set. A disk that cannot be
// looked at keeps its place and says so; when its very place cannot be made out, all disks say so.
// Nothing that may hang is looked at before somebody asks for the resources of a disk; the machine
// outlives the disks. Throws std::runtime_error, in plain words,
// when the disks cannot be listed.
std::vector<std::unique_ptr<Disk>> ScanDisks(sdk::Machine& machine, bool includeLoop);

}  // namespace orvan::storage
