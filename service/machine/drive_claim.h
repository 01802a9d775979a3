#pragma once

#include <vector>

#include "os/descriptor.h"
#include "service/machine/drive_node.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

struct ClaimedDrive {
  tarvex::Descriptor descriptor;
  std::vector<tarvex::Descriptor> others;  // media that the command may reach, too; held meanwhile
  int error = 0;
  bool isRefused = false;  // somebody uses one of the media, or may: `error` says why
};

// Opens the drive that a command goes to. For one that may change the medium that happens
// exclusively, and after a look at who uses what it may reach: of an NVMe command that is every
// namespace of the drive, for some commands go to all. What the kernel does not tell is refused.
// May hang.
ClaimedDrive ClaimDrive(const sdk::MachineFiles& files, const DriveOpening& opening);

}  // namespace orvan::machine
