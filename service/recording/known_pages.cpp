#include "service/recording/known_pages.h"

#include <algorithm>
#include <initializer_list>

namespace orvan::recording {
namespace {

bool IsIn(std::uint64_t code, std::initializer_list<std::uint64_t> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

std::uint8_t ByteOf(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  return at < bytes.size() ? bytes[at] : 0;
}

DataOf KnownIf(bool isKnown) {
  return isKnown ? DataOf::kDrive : DataOf::kUnknown;
}

constexpr std::uint8_t kSmart = 0xB0, kReadLog = 0x2F, kReadLogDma = 0x47;
constexpr std::uint64_t kIdentifyLog = 0x30;

bool ReadsLog(const AtaAddress& ata) {
  constexpr std::uint8_t kSmartReadLog = 0xD5;
  return IsIn(ata.command, {kReadLog, kReadLogDma}) ||
         (ata.command == kSmart && ata.feature == kSmartReadLog);
}

// Source: ACS-4, 9 (log pages): directory, errors, statistics, self-tests, NCQ errors and counters
// of the phy hold numbers; of IDENTIFY DEVICE data the pages up to capacity, settings and strings.
bool IsKnownLog(const AtaAddress& ata) {
  if ((ata.lba & 0xFF) != kIdentifyLog) {
    return IsIn(ata.lba & 0xFF, {0x00, 0x01, 0x02, 0x03, 0x04, 0x06, 0x07, 0x10, 0x11});
  }
  std::uint64_t page = 0;
  ReadsIdentifyLog(ata, page);
  for (std::uint64_t i = 0; i < ata.count; ++i) {
    if (!IsIn(page + i, {0, 1, 2, 4, 5})) return false;
  }
  return ata.count != 0;
}

// Source: ACS-4, 7: IDENTIFY (PACKET) DEVICE, SMART READ DATA and READ THRESHOLDS, CHECK POWER
// MODE.
DataOf DataOfAta(const AtaAddress& ata) {
  if (ReadsLog(ata)) return KnownIf(IsKnownLog(ata));
  if (ata.command == kSmart) return KnownIf(IsIn(ata.feature, {0xD0, 0xD1, 0xDA}));
  return KnownIf(IsIn(ata.command, {0xEC, 0xA1, 0xE5}));
}

// Source: SPC-5, 6.6, 7.7: standard data; the list of pages, serial number, designators, extended
// data, ATA information; SBC-4, 6.6: block limits, characteristics, provisioning.
bool IsKnownInquiry(const std::vector<std::uint8_t>& cdb) {
  const bool isVitalData = (ByteOf(cdb, 1) & 1) != 0;
  return !isVitalData || IsIn(ByteOf(cdb, 2), {0x00, 0x80, 0x83, 0x86, 0x89, 0xB0, 0xB1, 0xB2});
}

// Source: SPC-5, 7.5; SBC-4, 6.5: error recovery, caching, control, exceptions.
bool IsKnownMode(std::uint8_t page, std::uint8_t subpage) {
  return subpage == 0 && IsIn(page & 0x3F, {0x01, 0x08, 0x0A, 0x1C});
}

// Source: SPC-5, 7.3; SBC-4, 6.4: the list of pages, error counters, temperature, start and stop,
// self-tests, media, background scan, exceptions.
bool IsKnownLogSense(std::uint8_t page, std::uint8_t subpage) {
  return subpage == 0 &&
         IsIn(page & 0x3F, {0x00, 0x02, 0x03, 0x05, 0x06, 0x0D, 0x0E, 0x10, 0x11, 0x15, 0x2F});
}

// Source: SPC-5, 6; SBC-4, 5.
DataOf DataOfScsi(const std::vector<std::uint8_t>& cdb) {
  if (IsPassThrough(cdb)) return DataOfAta(AtaOf(cdb));
  switch (ByteOf(cdb, 0)) {
    case 0x12:  // INQUIRY
      return KnownIf(IsKnownInquiry(cdb));
    case 0x1A:  // MODE SENSE
    case 0x5A:
      return KnownIf(IsKnownMode(ByteOf(cdb, 2), ByteOf(cdb, 3)));
    case 0x4D:  // LOG SENSE
      return KnownIf(IsKnownLogSense(ByteOf(cdb, 2), ByteOf(cdb, 3)));
    case 0x9E:  // READ CAPACITY (16)
      return KnownIf((ByteOf(cdb, 1) & 0x1F) == 0x10);
    default:  // TEST UNIT READY, REQUEST SENSE, READ CAPACITY (10), READ DEFECT DATA, REPORT LUNS
      return KnownIf(IsIn(ByteOf(cdb, 0), {0x00, 0x03, 0x25, 0x37, 0xB7, 0xA0}));
  }
}

// Source: NVM Express Base 2.0, 5.16 (Get Log Page: errors, health, firmware slots, self-tests) and
// 5.17 (Identify: namespaces, controller, lists, descriptors).
DataOf DataOfNvme(const sdk::NvmeAdminCommand& nvme) {
  constexpr std::uint8_t kGetLogPage = 0x02, kIdentify = 0x06;
  const std::uint32_t page = nvme.dwords[0] & 0xFF;
  if (nvme.opcode == kGetLogPage) return KnownIf(IsIn(page, {0x01, 0x02, 0x03, 0x06}));
  return KnownIf(nvme.opcode == kIdentify &&
                 IsIn(page, {0x00, 0x01, 0x02, 0x03, 0x10, 0x11, 0x12, 0x13}));
}

}  // namespace

AtaAddress AtaOf(const sdk::AtaCommand& ata) {
  return {ata.command, static_cast<std::uint8_t>(ata.feature), ata.lba, ata.count};
}

// Source: SAT-4, 12.2.2: ATA PASS-THROUGH (12) and (16).
bool IsPassThrough(const std::vector<std::uint8_t>& cdb) {
  return IsIn(ByteOf(cdb, 0), {0x85, 0xA1});
}

AtaAddress AtaOf(const std::vector<std::uint8_t>& cdb) {
  if (ByteOf(cdb, 0) == 0xA1) {
    return {ByteOf(cdb, 9), ByteOf(cdb, 3), ByteOf(cdb, 5) | std::uint64_t{ByteOf(cdb, 6)} << 8,
            ByteOf(cdb, 4)};
  }
  return {ByteOf(cdb, 14), ByteOf(cdb, 4), ByteOf(cdb, 8) | std::uint64_t{ByteOf(cdb, 10)} << 8,
          static_cast<std::uint16_t>(ByteOf(cdb, 5) << 8 | ByteOf(cdb, 6))};
}

bool ReadsIdentifyLog(const AtaAddress& ata, std::uint64_t& firstPage) {
  if (!ReadsLog(ata) || (ata.lba & 0xFF) != kIdentifyLog) return false;
  // SMART READ LOG knows no pages, and its address ends in the signature of SMART.
  firstPage = ata.command == kSmart ? 0 : ata.lba >> 8 & 0xFF;
  return true;
}

DataOf DataOfCommand(const sdk::DriveCommand& command) {
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    return DataOfAta(AtaOf(*ata));
  }
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    return DataOfScsi(scsi->cdb);
  }
  return DataOfNvme(std::get<sdk::NvmeAdminCommand>(command.command));
}

}  // namespace orvan::recording
