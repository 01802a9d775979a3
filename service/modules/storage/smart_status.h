#pragma once

#include "service/modules/storage/drive/drive_link.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {

// What a drive says of its own health by the rules of its standard, and whether the numbers that it
// tells are sane. A drive that has no word of the standard for that is not applicable.
sdk::TestWork SmartStatusTest(const DriveAccess& access);

}  // namespace orvan::storage
