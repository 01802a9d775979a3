#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"
#include "service/modules/storage/drive/answer_kinds.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using scsi::SenseKey;

// Bits of the status.
// Source: ACS-4, 6.2 (status field), 6.3 (error field).
constexpr std::uint8_t kBusy = 0x80;
constexpr std::uint8_t kDeviceFault = 0x20;
constexpr std::uint8_t kError = 0x01;

constexpr std::uint8_t kAborted = 0x04;
struct ErrorRow {
  std::uint8_t bit;
  const char* words;
};
constexpr std::array kErrors = {
    ErrorRow{0x80, "the data was damaged on its way"},
    ErrorRow{0x40, "the drive cannot read its own data"},
    ErrorRow{0x10, "the drive does not find its own data"},
};

constexpr char kUnknownCommand[] = "the drive does not know it, or has it turned off";

DriveAnswer ErrorMeaning(const DriveCommandRow& row, std::uint8_t error) {
  if (error == kAborted) return Unknown(row, kUnknownCommand);
  const auto found = std::find_if(kErrors.begin(), kErrors.end(),
                                  [error](const auto& one) { return (error & one.bit) != 0; });
  if (found != kErrors.end()) return Told(Kind::kFailed, found->words);
  return Told(Kind::kGarbage, "there is no error " + HexByte(error));
}

DriveAnswer RegistersMeaning(const DriveCommandRow& row, const sdk::AtaRegisters& registers) {
  const std::uint8_t status = registers.status;
  // All bits clear is no drive's status, but that of a register that nobody has filled in.
  if (status == 0 || (status & kBusy) != 0) {
    return Told(Kind::kGarbage, "no command ends with status " + HexByte(status));
  }
  if ((status & kDeviceFault) != 0) return Told(Kind::kFailed, "the drive reports a fault");
  if ((status & kError) != 0) return ErrorMeaning(row, registers.error);
  const bool answersInThem = std::get<AtaShape>(row.shape).answersInRegisters;
  if (!answersInThem || SmartStatusIn(registers)) return Told(Kind::kDone, {});
  return Told(Kind::kGarbage, "the registers are " +
                                  HexByte(static_cast<std::uint8_t>(registers.lba >> 8)) + " and " +
                                  HexByte(static_cast<std::uint8_t>(registers.lba >> 16)) +
                                  ", neither good nor bad");
}

// What speaks for the drive says that the command was carried out.
DriveAnswer DoneWithoutRegisters(const DriveCommandRow& row) {
  if (!std::get<AtaShape>(row.shape).answersInRegisters) return Told(Kind::kDone, {});
  return Told(Kind::kNotSupported, "the way to the drive does not bring its registers back");
}

DriveAnswer ConditionMeaning(const DriveCommandRow& row, const std::optional<scsi::Sense>& sense) {
  if (!sense || sense->key == SenseKey::kNoSense)
    return Told(Kind::kGarbage, "it was refused without a reason");
  // How an abort of the drive's is told by who speaks for it. Source: SAT-4, 11 (error
  // translation).
  const bool isAbort =
      sense->key == SenseKey::kAborted && sense->additional == scsi::AdditionalSense{0x00, 0x00};
  if (isAbort) return Unknown(row, kUnknownCommand);
  DriveAnswer meaning = SenseMeaning(row, *sense);
  // That is not the drive's own word, which may have the command.
  if (sense->key == SenseKey::kIllegalRequest) meaning.kind = Kind::kNotSupported;
  return meaning.IsDone() ? DoneWithoutRegisters(row) : meaning;
}

DriveAnswer CarriedMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer,
                           const std::optional<scsi::Sense>& sense) {
  const bool isGood = answer.scsiStatus == 0;
  if (!answer.hasRegisters)
    return isGood ? DoneWithoutRegisters(row) : ConditionMeaning(row, sense);
  DriveAnswer meaning = RegistersMeaning(row, answer.registers);
  // RECOVERED ERROR is how registers are brought without an error.
  const bool isError = !isGood && sense && sense->key > SenseKey::kRecovered;
  return meaning.IsDone() && isError ? ConditionMeaning(row, sense) : meaning;
}

}  // namespace

DriveAnswer AtaMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer) {
  if (auto meaning = StatusMeaning(answer.scsiStatus)) return *std::move(meaning);
  const std::optional<scsi::Sense> sense = scsi::DecodeSense(answer.sense).value;
  DriveAnswer meaning = CarriedMeaning(row, answer, sense);
  if (answer.hasRegisters) meaning.registers = answer.registers;
  meaning.sense = sense;
  return meaning;
}

}  // namespace orvan::storage
