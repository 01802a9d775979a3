#include "service/modules/storage/nvme/identify.h"

#include <algorithm>

namespace orvan::storage::nvme {
namespace {

// Why an answer of IDENTIFY is none; empty: it may be one.
std::string TroubleOf(Bytes answer) {
  if (answer.size() < kIdentifyBytes) return ShortAnswer(answer.size(), kIdentifyBytes);
  if (IsAll(answer, 0)) return "the answer is all zeros";
  return IsAll(answer, 0xFF) ? "the answer is all ones" : "";
}

template <typename T>
std::optional<T> Told(Bytes answer, std::size_t at) {
  const T value = Little<T>(answer, at);
  if (value == 0) return {};
  return value;
}

std::optional<WideCount> WideTold(Bytes answer, std::size_t at) {
  const WideCount count = WideAt(answer, at);
  if (count == WideCount()) return {};
  return count;
}

bool HasBit(Bytes answer, std::size_t at, unsigned bit) {
  return (answer[at] >> bit & 1U) != 0;
}

// Neither zeros nor ones stand for a name.
template <std::size_t kSize>
std::optional<std::array<std::uint8_t, kSize>> IdAt(Bytes answer, std::size_t at) {
  const Bytes part = Part(answer, at, kSize);
  if (part.size() < kSize || IsAll(part, 0) || IsAll(part, 0xFF)) return {};
  std::array<std::uint8_t, kSize> id{};
  std::copy(part.begin(), part.end(), id.begin());
  return id;
}

void ReadAbilities(Bytes answer, Controller& found) {
  found.hasSecurity = HasBit(answer, 256, 0);
  found.hasFormat = HasBit(answer, 256, 1);
  found.hasSelfTest = HasBit(answer, 256, 4);
  found.hasHealthOfNamespaces = HasBit(answer, 261, 0);
  found.hasLongLogs = HasBit(answer, 261, 2);
  found.testsOneAtATime = HasBit(answer, 318, 0);
  found.canCryptoErase = HasBit(answer, 328, 0);
  found.canBlockErase = HasBit(answer, 328, 1);
  found.canOverwrite = HasBit(answer, 328, 2);
  found.hasTrim = HasBit(answer, 520, 2);
  found.hasVolatileCache = HasBit(answer, 525, 0);
}

BlockFormat FormatAt(Bytes answer, std::size_t number) {
  const std::size_t at = 128 + 4 * number;
  BlockFormat format;
  format.metadataBytes = Little<std::uint16_t>(answer, at);
  // A power of two. Less than 512 bytes means that the format is not available.
  const std::uint8_t power = answer[at + 2];
  if (power >= 9 && power < 32) format.dataBytes = std::uint64_t{1} << power;
  format.performance = answer[at + 3] & 3;
  return format;
}

template <std::size_t kSize>
std::string Digits(const std::array<std::uint8_t, kSize>& id) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : id) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text;
}

}  // namespace

Decoded<Controller> DecodeController(Bytes answer) {
  if (std::string trouble = TroubleOf(answer); !trouble.empty()) {
    return Distrusted<Controller>(std::move(trouble));
  }
  Controller found;
  found.vendor = Little<std::uint16_t>(answer, 0);
  found.serial = DeviceText(Part(answer, 4, 20));
  found.model = DeviceText(Part(answer, 24, 40));
  found.firmware = DeviceText(Part(answer, 64, 8));
  found.transferPages = Told<std::uint8_t>(answer, 77);
  found.version = Told<std::uint32_t>(answer, 80);
  found.errorEntries = static_cast<std::uint16_t>(answer[262] + 1);
  found.warningKelvin = Told<std::uint16_t>(answer, 266);
  found.criticalKelvin = Told<std::uint16_t>(answer, 268);
  found.totalBytes = WideTold(answer, 280);
  found.unallocatedBytes = WideTold(answer, 296);
  found.extendedTestMinutes = Told<std::uint16_t>(answer, 316);
  found.namespaces = Little<std::uint32_t>(answer, 516);
  ReadAbilities(answer, found);
  return {std::move(found), ""};
}

Decoded<Namespace> DecodeNamespace(Bytes answer) {
  std::string trouble = TroubleOf(answer);
  // An inactive namespace is answered by zeros.
  if (answer.size() >= kIdentifyBytes && IsAll(answer, 0)) trouble = "the namespace is not active";
  if (!trouble.empty()) return Distrusted<Namespace>(std::move(trouble));
  Namespace found;
  const std::size_t formats = 1U + answer[25];
  constexpr std::size_t kMostFormats = 64;
  if (formats > kMostFormats) {
    return Distrusted<Namespace>("the namespace has " + std::to_string(formats) + " formats, " +
                                 std::to_string(kMostFormats) + " are the most");
  }
  // Bits 6:5 are the upper ones, where there are so many formats.
  found.format = answer[26] & 0x0FU;
  if (formats > 16) found.format |= (answer[26] & 0x60U) >> 1;
  if (found.format >= formats) {
    return Distrusted<Namespace>("the namespace has the format " + std::to_string(found.format) +
                                 " of " + std::to_string(formats));
  }
  for (std::size_t i = 0; i < formats; ++i) found.formats.push_back(FormatAt(answer, i));
  if (found.formats[found.format].dataBytes == 0) {
    return Distrusted<Namespace>("the namespace has blocks of no size");
  }
  found.blocks = Little<std::uint64_t>(answer, 0);
  found.blocksThatMayBeUsed = Little<std::uint64_t>(answer, 8);
  found.blocksInUse = Little<std::uint64_t>(answer, 16);
  found.isThin = HasBit(answer, 24, 0);
  found.hasDataTags = HasBit(answer, 26, 4);
  found.protectionType = answer[29] & 7;
  found.bytes = WideTold(answer, 48);
  found.globalId = IdAt<16>(answer, 104);
  found.eui64 = IdAt<8>(answer, 120);
  return {std::move(found), ""};
}

std::string WorldWideName(const Namespace& found) {
  if (found.globalId) return "eui." + Digits(*found.globalId);
  return found.eui64 ? "eui." + Digits(*found.eui64) : std::string();
}

}  // namespace orvan::storage::nvme
