#pragma once

#include "service/modules/storage/drive/drive_link.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {

// Which errors a drive has remembered since the last run of this test on it, wherever it was
// attached then. What the drive refused to do is no error of it.
sdk::TestWork NewErrorsTest(const DriveAccess& access);

}  // namespace orvan::storage
