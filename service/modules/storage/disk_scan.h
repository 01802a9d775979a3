#pragma once

#include <memory>
#include <stop_token>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// Finds the whole disks of a machine, numbered "0", "1", ... in the order of their hardware path.
// Loop devices with a backing file take part when `includeLoop` is set. A disk that cannot be
// looked at keeps its place and says so; when its very place cannot be made out, all disks say so.
// After a stop no file system is looked at any more. Throws std::runtime_error, in plain words,
// when the disks cannot be listed.
std::vector<std::unique_ptr<Disk>> ScanDisks(sdk::Machine& machine, bool includeLoop,
                                             std::stop_token stop);

}  // namespace orvan::storage
