#pragma once

#include <cstdint>
#include <initializer_list>

#include "service/modules/storage/health/logged_errors.h"

// Where drives of each protocol remember errors. The link is open and speaks that protocol; its
// thread.
namespace orvan::storage {

LoggedErrors ReadAtaErrors(DriveLink& link);
LoggedErrors ReadNvmeErrors(DriveLink& link);
LoggedErrors ReadScsiErrors(DriveLink& link);

// That nothing could be read, and why.
LoggedErrors NoErrors(DriveTrouble trouble);

// The numbers as one, so that no two errors of a log share it but by a rare chance. Not 0.
std::uint64_t MixedId(std::initializer_list<std::uint64_t> numbers);

}  // namespace orvan::storage
