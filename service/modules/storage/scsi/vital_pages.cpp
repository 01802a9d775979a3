#include "service/modules/storage/scsi/vital_pages.h"

#include <algorithm>
#include <functional>

namespace orvan::storage::scsi {
namespace {

constexpr std::size_t kHeadBytes = 4;

// A number of which 0 means that nothing is told.
template <typename T>
std::optional<T> Told(Bytes page, std::size_t at) {
  const T value = Big<T>(page, at);
  if (value == 0) return {};
  return value;
}

std::string TooSmall(std::uint8_t page, std::size_t bytes, std::size_t least) {
  return "the page " + HexByte(page) + " has " + std::to_string(bytes) + " bytes, " +
         std::to_string(least) + " are the least";
}

// The whole page with its head, so that places are those of the standard's tables.
Decoded<Bytes> WholePage(Bytes answer, std::uint8_t page, std::size_t leastBytes) {
  Decoded<Bytes> body = VitalPageBody(answer, page);
  if (!body.value) return body;
  const Bytes whole = Part(answer, 0, kHeadBytes + body.value->size());
  if (whole.size() < leastBytes) {
    return Distrusted<Bytes>(body.trouble.empty() ? TooSmall(page, whole.size(), leastBytes)
                                                  : body.trouble);
  }
  return {whole, body.trouble};
}

}  // namespace

Decoded<Bytes> VitalPageBody(Bytes answer, std::uint8_t page) {
  if (answer.size() < kHeadBytes) {
    return Distrusted<Bytes>(ShortAnswer(answer.size(), kHeadBytes));
  }
  if (answer[1] != page) return Distrusted<Bytes>(OtherPage(answer[1], page));
  const std::size_t size = Big<std::uint16_t>(answer, 2);
  const Bytes body = Part(answer, kHeadBytes, size);
  if (body.size() < size) return {body, ShortAnswer(answer.size(), kHeadBytes + size)};
  return {body, ""};
}

Decoded<std::vector<std::uint8_t>> DecodeSupportedVitalPages(Bytes answer) {
  using Pages = std::vector<std::uint8_t>;
  const Decoded<Bytes> body = VitalPageBody(answer, kSupportedVitalPages);
  if (!body.value || !body.trouble.empty()) return Distrusted<Pages>(body.trouble);
  Pages pages(body.value->begin(), body.value->end());
  // The standard wants them in ascending order, and this page to be among them.
  const bool isAscending =
      std::adjacent_find(pages.begin(), pages.end(), std::greater_equal<>()) == pages.end();
  if (pages.empty() || pages.front() != kSupportedVitalPages || !isAscending) {
    return Distrusted<Pages>("the list of pages is none: not in ascending order from 00h on");
  }
  return {std::move(pages), ""};
}

Decoded<std::string> DecodeUnitSerial(Bytes answer) {
  const Decoded<Bytes> body = VitalPageBody(answer, kUnitSerialPage);
  if (!body.value || !body.trouble.empty()) return Distrusted<std::string>(body.trouble);
  const bool isText = std::all_of(body.value->begin(), body.value->end(), [](std::uint8_t byte) {
    return byte == 0 || (byte >= 0x20 && byte <= 0x7E);
  });
  if (!isText) return Distrusted<std::string>("the serial number is no text");
  return {DeviceText(*body.value), ""};
}

Decoded<BlockLimits> DecodeBlockLimits(Bytes answer) {
  const Decoded<Bytes> page = WholePage(answer, kBlockLimitsPage, 16);
  if (!page.value) return Distrusted<BlockLimits>(page.trouble);
  BlockLimits limits;
  limits.transferGranularity = Told<std::uint16_t>(*page.value, 6);
  limits.mostTransfer = Told<std::uint32_t>(*page.value, 8);
  limits.bestTransfer = Told<std::uint32_t>(*page.value, 12);
  limits.mostUnmapped = Told<std::uint32_t>(*page.value, 20);
  limits.mostUnmapRanges = Told<std::uint32_t>(*page.value, 24);
  limits.unmapGranularity = Told<std::uint32_t>(*page.value, 28);
  constexpr std::uint32_t kIsValid = 0x80000000;
  const std::uint32_t alignment = Big<std::uint32_t>(*page.value, 32);
  if ((alignment & kIsValid) != 0) limits.unmapAlignment = alignment & ~kIsValid;
  return {limits, page.trouble};
}

const char* FormFactorText(FormFactor form) {
  switch (form) {
    case FormFactor::k5Inch25:
      return "5.25 inches";
    case FormFactor::k3Inch5:
      return "3.5 inches";
    case FormFactor::k2Inch5:
      return "2.5 inches";
    case FormFactor::k1Inch8:
      return "1.8 inches";
    case FormFactor::kLess:
      break;
  }
  return "less than 1.8 inches";
}

Decoded<BlockCharacteristics> DecodeBlockCharacteristics(Bytes answer) {
  const Decoded<Bytes> page = WholePage(answer, kBlockCharacteristicsPage, 8);
  if (!page.value) return Distrusted<BlockCharacteristics>(page.trouble);
  BlockCharacteristics found;
  const auto rate = Big<std::uint16_t>(*page.value, 4);
  found.isSolidState = rate == 1;
  if (rate >= 0x0401 && rate <= 0xFFFE) found.rotationsPerMinute = rate;
  const unsigned form = (*page.value)[7] & 0x0FU;
  if (form >= 1 && form <= 5) found.formFactor = static_cast<FormFactor>(form - 1);
  const unsigned zoned = Big<std::uint8_t>(*page.value, 8) >> 4 & 3U;
  found.isHostAware = zoned == 1;
  found.isDeviceManaged = zoned == 2;
  return {found, page.trouble};
}

Decoded<BlockProvisioning> DecodeProvisioning(Bytes answer) {
  const Decoded<Bytes> page = WholePage(answer, kProvisioningPage, 8);
  if (!page.value) return Distrusted<BlockProvisioning>(page.trouble);
  BlockProvisioning found;
  const std::uint8_t flags = (*page.value)[5];
  found.hasUnmap = (flags & 0x80) != 0;
  found.hasWriteSame16 = (flags & 0x40) != 0;
  found.hasWriteSame10 = (flags & 0x20) != 0;
  // LBPRZ: xx1b means zeros, 010b a pattern of the maker's.
  found.readsZeros = (flags & 0x04) != 0;
  const unsigned type = (*page.value)[6] & 7U;
  if (type <= 2) found.type = static_cast<Provisioning>(type);
  return {found, page.trouble};
}

}  // namespace orvan::storage::scsi
