#pragma once

#include <string>

#include "service/modules/storage/disk.h"
#include "service/sdk/machine_files.h"

namespace orvan::storage {

// How fast a drive is attached, for people: "6.0 Gb/s", "8.0 GT/s x4", "480 Mb/s". Empty: it is not
// told.
struct LinkSpeeds {
  std::string now;   // what the two ends have agreed on
  std::string most;  // what the drive could do
};

// `facts` and `hardwareFolder` as ReadFeatures has them. Asks no drive. Any thread.
LinkSpeeds ReadLinkSpeeds(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                          const DiskFacts& facts);

}  // namespace orvan::storage
