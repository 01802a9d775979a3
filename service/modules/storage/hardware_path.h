#pragma once

#include <optional>
#include <string>

#include "service/sdk/watched_files.h"

namespace orvan::storage {

// Where a disk is attached, in terms that do not change between boots.
struct HardwarePath {
  // E.g. "pci-0000:00:1f.2/ata-1/scsi-0:0:0". Kernel numbers that follow the order of detection
  // (host and controller numbers) are left out.
  std::string text;
  // Comparing these as bytes orders disks by bus address, port, target, LUN or namespace, each as
  // a number. Loop devices come after all hardware.
  std::string sortKey;
  // The folder below /sys/devices of the disk's hardware, e.g.
  // ".../0000:00:1f.2/ata1/.../block/sda". For a disk behind several controllers it is that of the
  // first.
  std::string folder;
  // Set when a part of the path could not be looked at, or something that the place hangs on is
  // missing (ENOENT) or of no use. The sort key then says nothing.
  std::optional<sdk::FileTrouble> trouble;
};

// The disk's folder below /sys, its links followed; empty when it could not be found out, and the
// errno of why. ENOENT: there is no disk of that name any more.
std::string BlockFolder(const sdk::MachineFiles& files, const std::string& kernelName, int& error);

// The path of the disk with that kernel name and folder, from its place below /sys/devices.
HardwarePath ReadHardwarePath(const sdk::MachineFiles& files, const std::string& kernelName,
                              const std::string& blockFolder);

}  // namespace orvan::storage
