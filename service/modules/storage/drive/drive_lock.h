#pragma once

#include <stop_token>

#include "service/modules/storage/drive/drive_link.h"

// Whether a drive refuses to read and write until somebody gives it its password. What was so when
// the kernel found it may have changed since: a drive locks itself when its power is cut.
namespace orvan::storage {

// Whether a password is set, so that it may be locked; also where nothing is told of that.
bool MayBeLocked(const DiskFacts& facts);
// Whether it was known when it was found that a password is set.
bool HasPassword(const DiskFacts& facts);

// Asks the drive. False when it does not say that it is, for whatever reason. Any thread.
bool IsLocked(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop);

}  // namespace orvan::storage
