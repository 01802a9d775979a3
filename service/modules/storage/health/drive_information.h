#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/health/drive_health.h"
#include "service/modules/storage/nvme/identify.h"

// What a drive is and can, beyond what the kernel tells of it.
namespace orvan::storage {

// What is told, with what it says, for people; in the order in which it is shown.
using DriveInformation = std::vector<std::pair<std::string, std::string>>;

// What the kernel told of it; never empty. Any thread, as the next ones.
DriveInformation InformationOf(const DiskFacts& facts);
// What the listing has of it besides, for drives that tell less of themselves than those of ATA.
DriveInformation ListedInformation(const DiskFacts& facts);
DriveInformation InformationOf(const AtaHealth& health);
DriveInformation InformationOf(const nvme::Controller& controller);
DriveInformation InformationOf(const ScsiHealth& health);

}  // namespace orvan::storage
