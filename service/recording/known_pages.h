#pragma once

#include <cstdint>
#include <vector>

#include "service/sdk/drive_command.h"

// Which data of a drive is told in a recording: pages of which it is known where a secret may stand
// in them. Any thread.
namespace orvan::recording {

enum class DataOf {
  kDrive,    // a known page: recorded with stand-ins
  kUnknown,  // it may hold anything, what lies on a medium too: its hash is recorded
};
DataOf DataOfCommand(const sdk::DriveCommand& command);

// The command of an ATA command, where it reads from and how many blocks, whichever way it is sent.
struct AtaAddress {
  std::uint8_t command = 0;
  std::uint8_t feature = 0;
  std::uint64_t lba = 0;
  std::uint16_t count = 1;
};
AtaAddress AtaOf(const sdk::AtaCommand& ata);
AtaAddress AtaOf(const std::vector<std::uint8_t>& cdb);
// Whether a SCSI command carries an ATA command.
bool IsPassThrough(const std::vector<std::uint8_t>& cdb);

// The first page of the log of IDENTIFY DEVICE data that a command reads; none of another one.
bool ReadsIdentifyLog(const AtaAddress& ata, std::uint64_t& firstPage);

}  // namespace orvan::recording
