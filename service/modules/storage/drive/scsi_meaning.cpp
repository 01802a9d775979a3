#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"
#include "service/modules/storage/drive/answer_kinds.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

// Source: SAM-6, 5.3.1 (status codes). CONDITION MET is for commands that we do not send.
struct StatusRow {
  std::uint8_t status;
  Kind kind;
  const char* words;
};
constexpr std::array kStatuses = {
    StatusRow{0x08, Kind::kNotNow, "the drive is busy"},
    StatusRow{0x18, Kind::kNotNow, "somebody else has reserved the drive"},
    StatusRow{0x28, Kind::kNotNow, "the drive has no room for another command"},
    StatusRow{0x30, Kind::kNotNow, "the drive waits for an error to be cleared"},
    StatusRow{0x40, Kind::kNotNow, "somebody else has aborted it"},
};

// The first row that fits counts; a code below 0 is any. What has no row is a failure.
// Source: SPC-5, 4.4.8 (sense keys), and annex of additional sense codes.
using scsi::SenseKey;
struct SenseRow {
  SenseKey key;
  int code;
  Kind kind;
};
constexpr std::array kSenses = {
    SenseRow{SenseKey::kRecovered, -1, Kind::kDone},
    SenseRow{SenseKey::kNotReady, -1, Kind::kNotNow},
    SenseRow{SenseKey::kIllegalRequest, 0x20, Kind::kNotSupported},  // operation code
    SenseRow{SenseKey::kIllegalRequest, 0x24, Kind::kNotSupported},  // field of the command
    SenseRow{SenseKey::kIllegalRequest, 0x25, Kind::kNotSupported},  // unit
    SenseRow{SenseKey::kIllegalRequest, 0x26, Kind::kNotSupported},  // field of a parameter
    SenseRow{SenseKey::kUnitAttention, -1, Kind::kNotNow},
    SenseRow{SenseKey::kDataProtect, -1, Kind::kNotNow},
    SenseRow{SenseKey::kAborted, 0x47, Kind::kFailed},  // damaged on its way
    SenseRow{SenseKey::kAborted, -1, Kind::kNotNow},
    SenseRow{SenseKey::kCompleted, -1, Kind::kDone},
};

}  // namespace

std::optional<DriveAnswer> StatusMeaning(std::uint8_t status) {
  if (status == 0x00 || status == 0x02) return {};
  const auto row = std::find_if(kStatuses.begin(), kStatuses.end(),
                                [status](const auto& one) { return one.status == status; });
  if (row != kStatuses.end()) return Told(row->kind, row->words);
  return Told(Kind::kGarbage, "no such command ends with status " + HexByte(status));
}

DriveAnswer SenseMeaning(const DriveCommandRow& row, const scsi::Sense& sense) {
  const int code = sense.additional ? sense.additional->code : -1;
  const auto found = std::find_if(kSenses.begin(), kSenses.end(), [&](const SenseRow& one) {
    return one.key == sense.key && (one.code < 0 || one.code == code);
  });
  Kind kind = found == kSenses.end() ? Kind::kFailed : found->kind;
  if (sense.isDeferred) kind = Kind::kNotNow;
  std::string words = sense.isDeferred ? "the drive first reports an earlier command, " : "";
  words += scsi::SenseText(sense);
  DriveAnswer meaning;
  if (kind == Kind::kNotSupported) {
    meaning = Unknown(row, std::move(words));
  } else if (kind != Kind::kDone) {
    meaning = Told(kind, std::move(words));
  } else {
    meaning = Told(kind, {});
  }
  meaning.sense = sense;
  return meaning;
}

DriveAnswer ScsiMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer) {
  if (auto meaning = StatusMeaning(answer.scsiStatus)) return *std::move(meaning);
  if (answer.scsiStatus == 0) return Told(Kind::kDone, {});
  const std::optional<scsi::Sense> sense = scsi::DecodeSense(answer.sense).value;
  if (sense && sense->key != SenseKey::kNoSense) return SenseMeaning(row, *sense);
  return Told(Kind::kGarbage, "the drive refuses it without a reason");
}

}  // namespace orvan::storage
