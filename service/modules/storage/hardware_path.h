#pragma once

#include <string>

#include "service/machine/machine_files.h"

namespace orvan::storage {

// Where a disk is attached, in terms that do not change between boots.
struct HardwarePath {
  // E.g. "pci-0000:00:1f.2/ata-1/scsi-0:0:0". Kernel numbers that follow the order of detection
  // (host and controller numbers) are left out.
  std::string text;
  // Comparing these as bytes orders disks by bus address, port, target, LUN or namespace, each as
  // a number. Loop devices come after all hardware.
  std::string sortKey;
};

// The path of the disk with that kernel name, from its place below /sys/devices.
HardwarePath ReadHardwarePath(const machine::MachineFiles& files, const std::string& kernelName);

// The folder below /sys/devices of the disk's hardware, e.g. ".../0000:00:1f.2/ata1/.../block/sda".
// For a disk behind several controllers it is that of the first.
std::string HardwareFolder(const machine::MachineFiles& files, const std::string& kernelName);

}  // namespace orvan::storage
