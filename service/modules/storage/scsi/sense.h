#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"
#include "service/sdk/drive_command.h"

namespace orvan::storage::scsi {

// Source: SPC-5, 4.4, table "Sense key descriptions".
enum class SenseKey : std::uint8_t {
  kNoSense = 0x0,
  kRecovered = 0x1,
  kNotReady = 0x2,
  kMediumError = 0x3,
  kHardwareError = 0x4,
  kIllegalRequest = 0x5,
  kUnitAttention = 0x6,
  kDataProtect = 0x7,
  kBlankCheck = 0x8,
  kVendor = 0x9,
  kCopyAborted = 0xA,
  kAborted = 0xB,
  kReserved = 0xC,
  kOverflow = 0xD,
  kMiscompare = 0xE,
  kCompleted = 0xF,
};

struct AdditionalSense {
  std::uint8_t code = 0;
  std::uint8_t qualifier = 0;
  friend bool operator==(const AdditionalSense&, const AdditionalSense&) = default;
};

struct Sense {
  bool isDescriptor = false;  // and not of the fixed format
  bool isDeferred = false;    // about an earlier command
  SenseKey key = SenseKey::kNoSense;
  std::optional<AdditionalSense> additional;  // none: the data ends before it
  std::optional<std::uint64_t> information;   // of a medium error the LBA
  std::optional<std::uint16_t> progress;      // of 65536, of what the drive is at
  std::optional<std::uint8_t> replaceableUnit;
  // Of an ATA drive behind a translation. In the fixed format without the upper halves of count and
  // address, and then `information` is none, for the registers stand in its place.
  std::optional<sdk::AtaRegisters> registers;
};

// The sense data of an answer, in either format. Pure; any thread, as the next.
// Source: SPC-5, 4.4.2, table "Descriptor format sense data", with "Information sense data
// descriptor", "Sense key specific sense data descriptor", "Field replaceable unit sense data
// descriptor" and "Progress indication"; 4.4.3, table "Fixed format sense data". SAT-4, 12.2.2.7,
// table "ATA Status Return sense data descriptor", and the table of its fixed format.
Decoded<Sense> DecodeSense(Bytes sense);

// "medium error: unrecovered read error (11h/00h)"; without additional sense the key alone.
std::string SenseText(const Sense& sense);

}  // namespace orvan::storage::scsi
