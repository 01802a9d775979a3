#pragma once

#include <string>

#include "service/modules/storage/disk.h"
#include "service/sdk/machine_files.h"

namespace orvan::storage {

// What the machine knows of a drive besides: rows of the listing, in their order. `facts` has what
// ReadIdentity fills, and `hardwareFolder` is that of HardwarePath. No drive is asked: all of this
// is what the kernel read when it found the drive, or knows of the way to it. What is not told, or
// cannot be read, has no row and is no trouble of the disk.
DiskRows ReadFeatures(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                      const DiskFacts& facts);

}  // namespace orvan::storage
