#include "service/modules/storage/ata/smart_data.h"

#include <algorithm>

#include "service/modules/storage/ata/page.h"

namespace orvan::storage::ata {
namespace {

// Source: SFF-8035i, data structures of attributes and thresholds: 30 entries of 12 bytes from byte
// 2 on; id 0 is an unused one.
constexpr std::size_t kEntries = 30;
constexpr std::size_t kEntryBytes = 12;
constexpr std::size_t kFirstEntryAt = 2;

Bytes EntryOf(Bytes page, std::size_t entry) {
  return Part(page, kFirstEntryAt + entry * kEntryBytes, kEntryBytes);
}

Attribute DecodeAttribute(Bytes entry) {
  Attribute attribute;
  attribute.id = entry[0];
  attribute.flags = Little<std::uint16_t>(entry, 1);
  attribute.value = entry[3];
  attribute.worst = entry[4];
  const Bytes raw = Part(entry, 5, attribute.raw.size());
  std::copy(raw.begin(), raw.end(), attribute.raw.begin());
  return attribute;
}

// Source: ATA8-ACS, device SMART data structure, bytes 372 and 373, and 375-376 when 373 is FFh.
void ReadPollingTimes(Bytes page, SmartData& data) {
  constexpr std::uint8_t kInWord = 0xFF;
  const std::uint16_t extended =
      page[373] == kInWord ? Little<std::uint16_t>(page, 375) : page[373];
  if (page[372] != 0) data.shortMinutes = page[372];
  if (extended != 0) data.extendedMinutes = extended;
}

}  // namespace

const Attribute* SmartData::Find(std::uint8_t id) const {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [id](const Attribute& attribute) { return attribute.id == id; });
  return found == attributes.end() ? nullptr : &*found;
}

Decoded<SmartData> DecodeSmartData(Bytes bytes) {
  std::string trouble = TroubleOfSummedPage(bytes, "the SMART data");
  if (!trouble.empty()) return Distrusted<SmartData>(std::move(trouble));
  const Bytes page = Part(bytes, 0, kPageBytes);
  SmartData data;
  for (std::size_t i = 0; i < kEntries; ++i) {
    const Attribute attribute = DecodeAttribute(EntryOf(page, i));
    if (attribute.id == 0) continue;
    if (data.Find(attribute.id) == nullptr) {
      data.attributes.push_back(attribute);
    } else {
      trouble += (trouble.empty() ? "" : ", ") + std::to_string(attribute.id);
    }
  }
  if (!trouble.empty()) trouble = "attributes are there twice, the first is taken: " + trouble;
  data.selfTest = DecodeSelfTestStatus(page[363]);
  // Source: ATA8-ACS, device SMART data structure: bits 4 and 5 of byte 367, bit 0 of byte 370.
  data.hasSelfTests = (page[367] & 0x10U) != 0;
  data.hasConveyanceTest = (page[367] & 0x20U) != 0;
  data.hasErrorLog = (page[370] & 0x01U) != 0;
  ReadPollingTimes(page, data);
  return {std::move(data), std::move(trouble)};
}

Decoded<Thresholds> DecodeThresholds(Bytes bytes) {
  std::string trouble = TroubleOfSummedPage(bytes, "the SMART thresholds");
  if (!trouble.empty()) return Distrusted<Thresholds>(std::move(trouble));
  const Bytes page = Part(bytes, 0, kPageBytes);
  Thresholds thresholds;
  for (std::size_t i = 0; i < kEntries; ++i) {
    const Bytes entry = EntryOf(page, i);
    auto& threshold = thresholds.byId[entry[0]];
    if (entry[0] != 0 && !threshold) threshold = entry[1];
  }
  return {thresholds, {}};
}

AttributeState StateOf(const Attribute& attribute, const Thresholds& thresholds) {
  constexpr std::uint8_t kAlwaysPasses = 0x00, kInvalid = 0xFE, kAlwaysFails = 0xFF;
  const std::optional<std::uint8_t> threshold = thresholds.byId[attribute.id];
  if (!threshold || *threshold == kInvalid) return AttributeState::kUnknown;
  if (*threshold == kAlwaysPasses) return AttributeState::kFine;
  if (*threshold == kAlwaysFails) return AttributeState::kFailed;
  if (attribute.value <= *threshold) return AttributeState::kFailed;
  if (!IsValidValue(attribute.value)) return AttributeState::kUnknown;
  const bool wasWorse = IsValidValue(attribute.worst) && attribute.worst <= *threshold;
  return wasWorse ? AttributeState::kFailedBefore : AttributeState::kFine;
}

}  // namespace orvan::storage::ata
