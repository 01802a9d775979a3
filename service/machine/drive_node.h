#pragma once

#include <cstdint>
#include <string_view>

#include "os/descriptor.h"
#include "service/sdk/drive_command.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// How the node of a drive is opened.
struct DriveOpening {
  const sdk::DriveCommand& command;
  bool isBlankOnOptical = false;  // the command blanks the disc of an optical drive
  bool isExclusive = false;       // a block device alone, and nobody else's meanwhile
  bool filesMayBeDrives = false;  // a regular file may stand in for a drive (tests)
};

struct OpenedDrive {
  tarvex::Descriptor descriptor;
  int error = 0;  // ENODEV: another device or medium than expected; EOPNOTSUPP: no drive that takes
                  // this command; EBUSY: somebody else holds it
};

// Opens the drive that a command goes to. Nothing is opened, and so done to it, but a SCSI disk, an
// NVMe namespace or an NVMe controller. May hang.
OpenedDrive OpenDrive(const sdk::MachineFiles& files, const DriveOpening& opening);

// Whether the kernel has taken an opened drive away or is at it, which a command that was broken
// off may not tell. False where that cannot be looked at.
bool HasLeft(const sdk::MachineFiles& files, const tarvex::Descriptor& drive);

// Whether the kernel calls such a drive so, as "sda", "nvme0n1" and, of a character device,
// "nvme0".
bool IsDriveName(std::string_view name, bool isBlock);

}  // namespace orvan::machine
