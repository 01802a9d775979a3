#pragma once

#include <memory>
#include <stop_token>

#include "service/machine/apart_calls.h"
#include "service/sdk/drive_command.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

struct CommandRules {
  bool mayWrite = false;          // commands that do not only read are passed on, too
  bool filesMayBeDrives = false;  // a regular file may stand in for a drive (tests)
};

// Sends a command to a drive of this machine by SG_IO or as an NVMe admin command, and waits no
// longer than a second beyond its time limit. Nothing is opened for a command that is not granted;
// who uses the device, and what it is, is looked up in `files`.
sdk::CommandAnswer SendCommand(ApartCalls& calls, std::shared_ptr<const sdk::MachineFiles> files,
                               const sdk::DriveCommand& command, const CommandRules& rules,
                               std::stop_token stop);

}  // namespace orvan::machine
