#pragma once

#include <string>

#include "service/modules/storage/disk.h"
#include "service/sdk/machine_files.h"

namespace orvan::storage {

// Fills transport, model, serial number, firmware and world-wide name of the disk named by
// `facts.kernelName`, whose hardware has that folder, and of an ATA drive its IDENTIFY data. What
// the disk does not tell stays empty.
void ReadIdentity(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                  DiskFacts& facts);

// A text from a device without blanks, line ends and zero bytes at its ends.
std::string Trimmed(const std::string& text);

}  // namespace orvan::storage
