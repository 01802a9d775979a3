#include "service/modules/storage/scsi/sense.h"

#include <array>

#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage::scsi {
namespace {

// Both formats have a head of 8 bytes whose last says how many more there are.
constexpr std::size_t kHeadBytes = 8;
constexpr AdditionalSense kAtaInformation{0x00, 0x1D};

constexpr std::array kKeyWords = {
    "no sense",       "recovered error", "not ready",      "medium error",
    "hardware error", "illegal request", "unit attention", "data protect",
    "blank check",    "vendor specific", "copy aborted",   "aborted command",
    "reserved",       "volume overflow", "miscompare",     "completed",
};

// As much of the sense data as the drive says is there.
Bytes Valid(Bytes sense) {
  return sense.size() < kHeadBytes ? sense : Part(sense, 0, kHeadBytes + sense[7]);
}

// The three bytes of sense key specific information tell a progress with these keys only.
std::optional<std::uint16_t> ProgressAt(Bytes sense, std::size_t at, SenseKey key) {
  const bool mayTell = key == SenseKey::kNoSense || key == SenseKey::kNotReady;
  if (!mayTell || !Holds(sense, at, 3) || (sense[at] & 0x80) == 0) return {};
  return Big<std::uint16_t>(sense, at + 1);
}

sdk::AtaRegisters FixedRegisters(Bytes sense) {
  sdk::AtaRegisters registers;
  registers.error = sense[3];
  registers.status = sense[4];
  registers.device = sense[5];
  registers.count = sense[6];
  registers.lba = Little<std::uint32_t, 3>(sense, 9);
  return registers;
}

// Source: SPC-5, 4.4.3.
Sense FixedSense(Bytes sense) {
  Sense found;
  found.key = static_cast<SenseKey>(sense[2] & 0x0F);
  if (Holds(sense, 12, 2)) found.additional = {sense[12], sense[13]};
  if (found.additional == kAtaInformation) {
    found.registers = FixedRegisters(sense);
    return found;
  }
  const bool isValid = (sense[0] & 0x80) != 0;
  if (isValid) found.information = BigIfThere<std::uint32_t>(sense, 3);
  found.progress = ProgressAt(sense, 15, found.key);
  const auto unit = Big<std::uint8_t>(sense, 14);
  if (unit != 0) found.replaceableUnit = unit;
  return found;
}

// Source: SAT-4, 12.2.2.7. The high byte of each register stands in front of its low one, and
// counts with a 48-bit command alone.
sdk::AtaRegisters DescriptorRegisters(Bytes descriptor) {
  const bool isExtended = (descriptor[2] & 1) != 0;
  sdk::AtaRegisters registers;
  registers.error = descriptor[3];
  registers.count = isExtended ? Big<std::uint16_t>(descriptor, 4) : descriptor[5];
  for (const std::size_t at : {10U, 8U, 6U}) {
    registers.lba = registers.lba << 8 | (isExtended ? descriptor[at] : 0U);
  }
  for (const std::size_t at : {11U, 9U, 7U}) registers.lba = registers.lba << 8 | descriptor[at];
  registers.device = descriptor[12];
  registers.status = descriptor[13];
  return registers;
}

// `descriptor`: with its head of two bytes, and as long as that says.
void AddDescriptor(Sense& found, Bytes descriptor) {
  constexpr std::uint8_t kInformation = 0, kKeySpecific = 2, kUnit = 3, kAtaReturn = 9;
  switch (descriptor[0]) {
    case kInformation:
      if (descriptor.size() >= 12 && (descriptor[2] & 0x80) != 0) {
        found.information = Big<std::uint64_t>(descriptor, 4);
      }
      break;
    case kKeySpecific:
      found.progress = ProgressAt(descriptor, 4, found.key);
      break;
    case kUnit:
      if (Big<std::uint8_t>(descriptor, 3) != 0) found.replaceableUnit = descriptor[3];
      break;
    case kAtaReturn:
      if (descriptor.size() >= 14) found.registers = DescriptorRegisters(descriptor);
      break;
    default:
      break;
  }
}

// Source: SPC-5, 4.4.2.
Decoded<Sense> DescriptorSense(Bytes sense) {
  Sense found;
  found.isDescriptor = true;
  found.key = static_cast<SenseKey>(sense[1] & 0x0F);
  if (Holds(sense, 2, 2)) found.additional = {sense[2], sense[3]};
  std::size_t at = kHeadBytes;
  while (Holds(sense, at, 2)) {
    const std::size_t size = 2U + sense[at + 1];
    if (!Holds(sense, at, size)) {
      return {found, "the descriptor " + HexByte(sense[at]) + " of the sense data is cut"};
    }
    AddDescriptor(found, sense.subspan(at, size));
    at += size;
  }
  return {found, ""};
}

}  // namespace

Decoded<Sense> DecodeSense(Bytes sense) {
  constexpr std::size_t kLeastBytes = 3;
  if (sense.size() < kLeastBytes || IsAll(sense, 0)) {
    return Distrusted<Sense>("there is no sense data");
  }
  const std::uint8_t format = sense[0] & 0x7F;
  Decoded<Sense> found;
  switch (format) {
    case 0x70:
    case 0x71:
      found = {FixedSense(Valid(sense)), ""};
      break;
    case 0x72:
    case 0x73:
      found = DescriptorSense(Valid(sense));
      break;
    default:
      return Distrusted<Sense>("the sense data has the format " + HexByte(format));
  }
  found.value->isDeferred = (format & 1) != 0;
  return found;
}

std::string SenseText(const Sense& sense) {
  std::string key = kKeyWords[static_cast<std::uint8_t>(sense.key) & 0x0FU];
  if (!sense.additional) return key;
  const auto [code, qualifier] = *sense.additional;
  return key + ": " + SenseCodeWords(code, qualifier) + " (" + HexByte(code) + '/' +
         HexByte(qualifier) + ')';
}

}  // namespace orvan::storage::scsi
