#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/drive/drive_commands.h"
#include "service/modules/storage/scsi/sense.h"
#include "service/sdk/drive_command.h"

namespace orvan::storage {

// What came of a command.
struct DriveAnswer {
  enum class Kind : std::uint8_t {
    kDone,          // carried out, and no answer too short
    kNotSupported,  // the drive, or the way to it, has no such command
    kNotNow,        // not carried out for a reason that may pass: busy, reserved, not ready
    kFailed,        // the drive says that it tried and failed
    kGarbage,       // what came cannot be the answer
    kTimedOut,      // no answer, now or to an earlier command
    kGone,          // the drive has left the machine
    kNoPrivilege,   // the kernel does not let us
    kNotTried,      // our own fault
    kCanceled,      // the stop token was set
  };
  Kind kind = Kind::kNotTried;
  // Plain text for people, which names the command; empty with kDone.
  std::string reason;
  std::vector<std::uint8_t> data = {};  // with kDone alone
  // Of an ATA command, where the way to the drive tells them.
  std::optional<sdk::AtaRegisters> registers = {};
  // Where a SCSI device, or what speaks for an ATA drive, tells it.
  std::optional<scsi::Sense> sense = {};
  std::uint16_t nvmeStatus = 0;  // as in CommandAnswer, and so is the next
  std::uint32_t nvmeResult = 0;

  bool IsDone() const { return kind == Kind::kDone; }
};

// What an ATA drive says of its own health.
enum class SmartStatus : std::uint8_t { kGood, kThresholdExceeded };

// By the registers at the end of SMART RETURN STATUS; none when they say neither.
// Source: ACS-4, SMART RETURN STATUS, outputs.
std::optional<SmartStatus> SmartStatusIn(const sdk::AtaRegisters& registers);

// What an answer to the command of that row means; `askedBytes` were asked for. Any thread.
DriveAnswer MeaningOf(const DriveCommandRow& row, std::uint32_t askedBytes,
                      sdk::CommandAnswer answer);

}  // namespace orvan::storage
