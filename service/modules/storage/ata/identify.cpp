#include "service/modules/storage/ata/identify.h"

#include <array>
#include <numeric>

#include "service/modules/storage/ata/page.h"

namespace orvan::storage::ata {
namespace {

constexpr bool Bit(std::uint16_t word, unsigned bit) {
  return (word >> bit & 1U) != 0;
}

// A word that is reserved or unset in drives that do not know it.
constexpr bool IsThere(std::uint16_t word) {
  return word != 0x0000 && word != 0xFFFF;
}

// Source: ACS-4, 7.12, words 82 to 87: what is supported and what is enabled, told when word 83, 84
// or 87 says that it holds data; words 108 to 111: world-wide name, when bit 8 of 84 or 87 is 1.
void ReadFeatures(Bytes page, Identify& identify) {
  const std::uint16_t sets = Word(page, 82), sets2 = Word(page, 83), sets3 = Word(page, 84);
  const std::uint16_t enabled = Word(page, 85), enabled3 = Word(page, 87);
  if (HoldsData(sets2)) {
    identify.hasSmart = Bit(sets, 0);
    identify.has48BitCommands = Bit(sets2, 10);
  }
  if (HoldsData(enabled3)) identify.isSmartEnabled = identify.hasSmart && Bit(enabled, 0);
  const std::uint16_t either = static_cast<std::uint16_t>((HoldsData(sets3) ? sets3 : 0U) |
                                                          (HoldsData(enabled3) ? enabled3 : 0U));
  identify.hasErrorLog = Bit(either, 0);
  identify.hasSelfTests = Bit(either, 1);
  identify.hasLogs = Bit(either, 5);
  if (!Bit(either, 8)) return;
  // Word 108 has the most significant 16 bits.
  std::uint64_t name = 0;
  for (std::size_t word = 108; word < 112; ++word) name = name << 16 | Word(page, word);
  if (name != 0) identify.worldWideName = name;
}

// Source: ACS-4, 7.12, words 60-61, 100-103 and 230-233: a drive with 48-bit commands fills the
// second, and one that says so in bit 3 of word 69 the third.
void ReadSize(Bytes page, Identify& identify) {
  std::uint64_t sectors = Little<std::uint32_t>(page, 2 * 60);
  if (identify.has48BitCommands) sectors = Little<std::uint64_t, 6>(page, 2 * 100);
  const bool hasMore = IsThere(Word(page, 69)) && Bit(Word(page, 69), 3);
  if (hasMore) sectors = Little<std::uint64_t>(page, 2 * 230);
  if (sectors != 0) identify.sectors = sectors;
}

// Source: ACS-4, 7.12, words 106 (which sizes are told), 117-118 (logical sector) and 209
// (alignment).
void ReadSectorSizes(Bytes page, Identify& identify) {
  const std::uint16_t sizes = Word(page, 106);
  if (!HoldsData(sizes)) return;
  if (Bit(sizes, 12)) {
    // In words of 2 bytes. What no sector can be is left at 512.
    const std::uint32_t words = Little<std::uint32_t>(page, 2 * 117);
    if (words >= 256 && words <= 0x8000) identify.logicalSectorBytes = 2 * words;
  }
  identify.physicalSectorBytes = identify.logicalSectorBytes;
  if (Bit(sizes, 13)) identify.physicalSectorBytes <<= sizes & 0x0FU;
  const std::uint16_t alignment = Word(page, 209);
  if (HoldsData(alignment)) identify.alignment = alignment & 0x3FFFU;
}

// Source: ACS-4, 7.12, word 168 (nominal form factor).
void ReadFormFactor(Bytes page, Identify& identify) {
  static constexpr std::array<const char*, 10> kFormFactors = {
      nullptr, "5.25 inches", "3.5 inches", "2.5 inches", "1.8 inches", "less than 1.8 inches",
      "mSATA", "M.2",         "MicroSSD",   "CFast"};
  const std::uint16_t word = Word(page, 168);
  const std::size_t number = word & 0x0FU;
  if (word == 0xFFFF || number >= kFormFactors.size() || kFormFactors[number] == nullptr) return;
  identify.formFactor = kFormFactors[number];
}

// Source: ACS-4, 7.12, word 217: 1 is a device that does not rotate, 0401h to FFFEh are rotations
// in a minute; words 169 (bit 0: TRIM) and 69 (bits 14 and 5: what is trimmed reads as zeros).
void ReadMedium(Bytes page, Identify& identify) {
  const std::uint16_t rate = Word(page, 217);
  if (rate == 1) identify.isRotating = false;
  if (rate >= 0x0401 && rate <= 0xFFFE) {
    identify.isRotating = true;
    identify.rotationsPerMinute = rate;
  }
  ReadFormFactor(page, identify);
  const std::uint16_t management = Word(page, 169), more = Word(page, 69);
  identify.hasTrim = IsThere(management) && Bit(management, 0);
  identify.readsZerosAfterTrim = identify.hasTrim && IsThere(more) && Bit(more, 14) && Bit(more, 5);
}

// Source: ACS-4, 7.12, words 75 (bits 4 to 0: queue depth less 1), 76 (bits 1 to 3: speeds, bit 8:
// native command queuing; 0000h and FFFFh are no SATA) and 77 (bits 3 to 1: speed now).
void ReadInterface(Bytes page, Identify& identify) {
  static constexpr std::array<std::uint16_t, 4> kSpeeds = {0, 15, 30, 60};
  const std::uint16_t capabilities = Word(page, 76);
  if (!IsThere(capabilities) || Bit(capabilities, 0)) return;
  for (unsigned generation = 1; generation <= 3; ++generation) {
    if (Bit(capabilities, generation)) identify.mostSpeed = kSpeeds[generation];
  }
  const std::size_t now = Word(page, 77) >> 1 & 7U;
  if (Word(page, 77) != 0xFFFF && now >= 1 && now < kSpeeds.size()) {
    identify.speedNow = kSpeeds[now];
  }
  if (Bit(capabilities, 8)) {
    identify.queueDepth = static_cast<std::uint8_t>((Word(page, 75) & 0x1FU) + 1U);
  }
}

void ReadSecurity(Bytes page, Identify& identify) {
  const std::uint16_t word = Word(page, 128);
  if (!IsThere(word) || !Bit(word, 0)) return;
  identify.security = {true, Bit(word, 1), Bit(word, 2), Bit(word, 3), Bit(word, 4)};
}

// Source: ACS-4, 7.12, word 255: with A5h in its low byte, the sum of all bytes is 0.
std::string ChecksumTrouble(Bytes page, Identify& identify) {
  constexpr std::uint8_t kHasChecksum = 0xA5;
  if (page[kPageBytes - 2] != kHasChecksum) return {};
  std::string trouble = TroubleOfSummedPage(page, "the IDENTIFY data");
  identify.isChecked = trouble.empty();
  return trouble;
}

}  // namespace

Decoded<Identify> DecodeIdentify(Bytes bytes) {
  std::string trouble = TroubleOfPage(bytes);
  if (!trouble.empty()) return Distrusted<Identify>(std::move(trouble));
  const Bytes page = Part(bytes, 0, kPageBytes);
  Identify identify;
  trouble = ChecksumTrouble(page, identify);
  if (!trouble.empty()) return Distrusted<Identify>(std::move(trouble));
  // Source: ACS-4, 7.12, word 0: bit 15 is 0 for an ATA device; 848Ah is a CompactFlash card.
  const std::uint16_t general = Word(page, 0);
  if (Bit(general, 15) && general != 0x848A) {
    return Distrusted<Identify>("the IDENTIFY data is not that of an ATA disk");
  }
  identify.serial = AtaText(Part(page, 2 * 10, 20));
  identify.firmware = AtaText(Part(page, 2 * 23, 8));
  identify.model = AtaText(Part(page, 2 * 27, 40));
  ReadFeatures(page, identify);
  ReadSize(page, identify);
  ReadSectorSizes(page, identify);
  ReadMedium(page, identify);
  ReadInterface(page, identify);
  ReadSecurity(page, identify);
  // Source: ACS-4, 7.12, word 0: bit 2.
  if (Bit(general, 2) && general != 0x848A)
    trouble = "the drive says its IDENTIFY data is incomplete";
  return {identify, std::move(trouble)};
}

std::string SecurityText(const Security& security) {
  if (!security.isSupported) return "none";
  std::string text = security.isLocked    ? "locked"
                     : security.isEnabled ? "password set, not locked"
                                          : "no password set";
  if (security.isFrozen) text += ", frozen";
  if (security.isCountExpired) text += ", too many wrong passwords";
  return text;
}

std::string SpeedText(std::uint16_t speed) {
  return std::to_string(speed / 10) + '.' + std::to_string(speed % 10) + " Gb/s";
}

}  // namespace orvan::storage::ata
