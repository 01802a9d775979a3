#include "service/modules/storage/scsi/sense_codes.h"

#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {
namespace {

struct CodeRow {
  std::uint8_t code;
  std::uint8_t qualifier;
  const char* words;
};

// What disks and the bridges in front of them say, in the order of the standard. A code with the
// qualifier 00h speaks for those of its qualifiers that have no row.
constexpr std::array kRows = {
    CodeRow{0x00, 0x00, "no additional sense"},
    CodeRow{0x00, 0x16, "operation in progress"},
    CodeRow{0x00, 0x1D, "the registers of an ATA drive"},
    CodeRow{0x01, 0x00, "no index or sector signal"},
    CodeRow{0x02, 0x00, "no seek complete"},
    CodeRow{0x03, 0x00, "write fault of the drive"},
    CodeRow{0x04, 0x00, "not ready, the cause is not told"},
    CodeRow{0x04, 0x01, "becoming ready"},
    CodeRow{0x04, 0x02, "not ready, it has to be started"},
    CodeRow{0x04, 0x03, "not ready, somebody has to see to it"},
    CodeRow{0x04, 0x04, "not ready, it is being formatted"},
    CodeRow{0x04, 0x07, "not ready, an operation is in progress"},
    CodeRow{0x04, 0x09, "not ready, a self-test is in progress"},
    CodeRow{0x04, 0x11, "not ready, it waits for leave to spin up"},
    CodeRow{0x04, 0x12, "not ready, it is offline"},
    CodeRow{0x04, 0x1B, "not ready, it is being sanitized"},
    CodeRow{0x04, 0x22, "not ready, it has to be turned off and on"},
    CodeRow{0x05, 0x00, "the drive does not answer selection"},
    CodeRow{0x06, 0x00, "no reference position found"},
    CodeRow{0x08, 0x00, "communication failure"},
    CodeRow{0x08, 0x01, "communication time-out"},
    CodeRow{0x08, 0x02, "communication parity error"},
    CodeRow{0x09, 0x00, "track following error"},
    CodeRow{0x09, 0x04, "head select fault"},
    CodeRow{0x0B, 0x00, "warning"},
    CodeRow{0x0B, 0x01, "warning: the specified temperature is exceeded"},
    CodeRow{0x0B, 0x02, "warning: the enclosure is degraded"},
    CodeRow{0x0B, 0x03, "warning: a background self-test failed"},
    CodeRow{0x0B, 0x04, "warning: the background scan before use met a medium error"},
    CodeRow{0x0B, 0x05, "warning: the background scan of the medium met a medium error"},
    CodeRow{0x0B, 0x06, "warning: the non-volatile cache has become volatile"},
    CodeRow{0x0B, 0x07, "warning: the power of the non-volatile cache is degraded"},
    CodeRow{0x0B, 0x08, "warning: loss of power is expected"},
    CodeRow{0x0B, 0x0A, "warning: above the critical temperature"},
    CodeRow{0x0B, 0x0B, "warning: below the critical temperature"},
    CodeRow{0x0B, 0x14, "warning: a part of the drive changed its state"},
    CodeRow{0x0C, 0x00, "write error"},
    CodeRow{0x0C, 0x01, "write error, recovered by reassignment"},
    CodeRow{0x0C, 0x02, "write error, reassignment failed"},
    CodeRow{0x0C, 0x03, "write error, reassignment is recommended"},
    CodeRow{0x0E, 0x00, "invalid information unit"},
    CodeRow{0x10, 0x00, "error of the code that identifies or checks a block"},
    CodeRow{0x10, 0x01, "the guard of a block is wrong"},
    CodeRow{0x10, 0x02, "the application tag of a block is wrong"},
    CodeRow{0x10, 0x03, "the reference tag of a block is wrong"},
    CodeRow{0x11, 0x00, "unrecovered read error"},
    CodeRow{0x11, 0x01, "unrecovered read error, retries are exhausted"},
    CodeRow{0x11, 0x02, "unrecovered read error, too long to correct"},
    CodeRow{0x11, 0x04, "unrecovered read error, reassignment failed"},
    CodeRow{0x11, 0x0B, "unrecovered read error, reassignment is recommended"},
    CodeRow{0x11, 0x0C, "unrecovered read error, the data is to be rewritten"},
    CodeRow{0x11, 0x14, "read error, the block was marked bad by a host"},
    CodeRow{0x12, 0x00, "address mark for the identifier not found"},
    CodeRow{0x13, 0x00, "address mark for the data not found"},
    CodeRow{0x14, 0x00, "recorded entity not found"},
    CodeRow{0x14, 0x01, "record not found"},
    CodeRow{0x15, 0x00, "random positioning error"},
    CodeRow{0x15, 0x01, "mechanical positioning error"},
    CodeRow{0x16, 0x00, "data synchronization mark error"},
    CodeRow{0x17, 0x00, "data recovered without correction"},
    CodeRow{0x17, 0x01, "data recovered with retries"},
    CodeRow{0x17, 0x06, "data recovered without correction, reassigned by the drive"},
    CodeRow{0x17, 0x07, "data recovered without correction, reassignment is recommended"},
    CodeRow{0x17, 0x09, "data recovered without correction, rewritten"},
    CodeRow{0x18, 0x00, "data recovered with correction"},
    CodeRow{0x18, 0x01, "data recovered with correction and retries"},
    CodeRow{0x18, 0x02, "data recovered with correction, reassigned by the drive"},
    CodeRow{0x18, 0x05, "data recovered with correction, reassignment is recommended"},
    CodeRow{0x18, 0x07, "data recovered with correction, rewritten"},
    CodeRow{0x19, 0x00, "defect list error"},
    CodeRow{0x1A, 0x00, "parameter list length error"},
    CodeRow{0x1C, 0x00, "defect list not found"},
    CodeRow{0x1D, 0x00, "miscompare during verify"},
    CodeRow{0x20, 0x00, "invalid command operation code"},
    CodeRow{0x21, 0x00, "logical block address out of range"},
    CodeRow{0x24, 0x00, "invalid field in the command"},
    CodeRow{0x25, 0x00, "logical unit not supported"},
    CodeRow{0x26, 0x00, "invalid field in the parameters"},
    CodeRow{0x27, 0x00, "write protected"},
    CodeRow{0x28, 0x00, "not ready to ready change, the medium may have changed"},
    CodeRow{0x29, 0x00, "power on or reset"},
    CodeRow{0x2A, 0x00, "parameters changed"},
    CodeRow{0x2A, 0x09, "capacity changed"},
    CodeRow{0x2C, 0x00, "command sequence error"},
    CodeRow{0x2F, 0x00, "commands cleared by another initiator"},
    CodeRow{0x31, 0x00, "the format of the medium is corrupted"},
    CodeRow{0x31, 0x01, "formatting failed"},
    CodeRow{0x32, 0x00, "no place left to reassign a block"},
    CodeRow{0x32, 0x01, "the defect list could not be updated"},
    CodeRow{0x35, 0x00, "enclosure services failure"},
    CodeRow{0x37, 0x00, "a parameter was rounded"},
    CodeRow{0x3A, 0x00, "medium not present"},
    CodeRow{0x3E, 0x00, "the drive has not configured itself yet"},
    CodeRow{0x3E, 0x01, "the drive has failed"},
    CodeRow{0x3E, 0x02, "time-out of the drive"},
    CodeRow{0x3E, 0x03, "the drive failed its self-test"},
    CodeRow{0x3E, 0x04, "the drive could not update its self-test log"},
    CodeRow{0x3F, 0x00, "operating conditions changed"},
    CodeRow{0x3F, 0x01, "microcode changed"},
    CodeRow{0x40, 0x00, "failure of its memory"},
    CodeRow{0x42, 0x00, "power-on or self-test failure"},
    CodeRow{0x43, 0x00, "message error"},
    CodeRow{0x44, 0x00, "internal failure of the drive"},
    CodeRow{0x44, 0x71, "the ATA drive failed to set a feature"},
    CodeRow{0x45, 0x00, "selection or reselection failure"},
    CodeRow{0x47, 0x00, "parity error on the bus"},
    CodeRow{0x47, 0x03, "checksum error on the bus"},
    CodeRow{0x48, 0x00, "the initiator detected an error"},
    CodeRow{0x49, 0x00, "invalid message"},
    CodeRow{0x4B, 0x00, "error in a phase that moves data"},
    CodeRow{0x4C, 0x00, "the drive failed to configure itself"},
    CodeRow{0x4E, 0x00, "overlapped commands"},
    CodeRow{0x53, 0x02, "removal of the medium is prevented"},
    CodeRow{0x55, 0x00, "a resource of the system failed"},
    CodeRow{0x5B, 0x00, "a log raised an exception"},
    CodeRow{0x5B, 0x01, "a threshold of a log is met"},
    CodeRow{0x5D, 0x00, "failure prediction threshold exceeded"},
    CodeRow{0x5D, 0x01, "failure of the medium is predicted"},
    CodeRow{0x5D, 0x02, "failure of the drive is predicted"},
    CodeRow{0x5D, 0x03, "the spare area is about to be used up"},
    CodeRow{0x5D, 0x73, "failure of the medium is predicted: its endurance is used up"},
    CodeRow{0x5D, 0xFF, "failure prediction threshold exceeded, as a trial"},
    CodeRow{0x5E, 0x00, "in a state of low power"},
    CodeRow{0x65, 0x00, "voltage fault"},
    CodeRow{0x74, 0x00, "security error"},
    CodeRow{0x74, 0x71, "locked: access to the data is not authorized"},
};

// What fails, and why, of a failure that is predicted (5Dh): the two halves of its qualifier.
constexpr std::array kFailingParts = {"",      "hardware",      "controller", "data channel",
                                      "servo", "spindle motor", "firmware"};
constexpr std::array kFailureReasons = {
    "general failure",
    "error rate of the drive",
    "error rate of data",
    "error rate of seeks",
    "reassigned blocks",
    "access times",
    "start times",
    "channel parameters",
    "seen by the controller",
    "throughput",
    "seek times",
    "spin-up retries",
    "calibration retries",
    "power loss protection",
};

std::string PredictedFailure(std::uint8_t qualifier) {
  const unsigned part = qualifier >> 4;
  const unsigned reason = qualifier & 0x0F;
  std::string predicted = "failure of the drive is predicted";
  if (part == 0 || part >= kFailingParts.size() || reason >= kFailureReasons.size()) {
    return predicted;
  }
  return predicted + ": " + kFailingParts[part] + ", " + kFailureReasons[reason];
}

const CodeRow* RowOf(std::uint8_t code, std::uint8_t qualifier) {
  const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const CodeRow& entry) {
    return entry.code == code && entry.qualifier == qualifier;
  });
  return row == kRows.end() ? nullptr : row;
}

}  // namespace

std::string SenseCodeWords(std::uint8_t code, std::uint8_t qualifier) {
  constexpr std::uint8_t kFirstOfMaker = 0x80;
  constexpr std::uint8_t kFailedComponent = 0x40;
  constexpr std::uint8_t kPredicted = 0x5D;
  if (const CodeRow* const row = RowOf(code, qualifier)) return row->words;
  if (code == kFailedComponent && qualifier >= kFirstOfMaker) {
    return "diagnostic failure of the component " + HexByte(qualifier);
  }
  if (code >= kFirstOfMaker) return "a code of the maker's";
  if (code == kPredicted) return PredictedFailure(qualifier);
  if (const CodeRow* const row = code == 0 ? nullptr : RowOf(code, 0)) return row->words;
  return "a code without a name here";
}

}  // namespace orvan::storage::scsi
