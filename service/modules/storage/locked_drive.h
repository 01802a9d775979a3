#pragma once

#include <stop_token>

#include "service/modules/storage/drive/drive_link.h"

namespace orvan::storage {

// Whether an ATA drive says that a password keeps everybody from its data. False when it does not
// say so, or cannot be asked. The test's thread.
bool IsLocked(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop);

}  // namespace orvan::storage
