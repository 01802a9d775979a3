#include "service/recording/page_secrets.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace orvan::recording {
namespace {

constexpr std::string_view kPadding(" \t\0", 3);

Page Part(Page page, std::size_t at, std::size_t size) {
  if (at >= page.size()) return {};
  return page.subspan(at, std::min(size, page.size() - at));
}

std::string TextOf(Page page) {
  return {page.begin(), page.end()};
}

void Put(Page page, const std::string& text) {
  std::copy(text.begin(), text.end(), page.begin());
}

void HideText(Secrets& secrets, Page page) {
  std::string text = TextOf(page);
  const std::size_t begin = text.find_first_not_of(kPadding);
  if (begin == std::string::npos) return;
  const std::size_t size = text.find_last_not_of(kPadding) - begin + 1;
  text.replace(begin, size, secrets.Hide(std::string_view(text).substr(begin, size)));
  Put(page, text);
}

// A number that others show as hexadecimal digits.
void HideNumber(Secrets& secrets, Page page) {
  static constexpr char kDigits[] = "0123456789abcdef";
  if (std::all_of(page.begin(), page.end(), [](std::uint8_t byte) { return byte == 0; })) return;
  std::string digits;
  for (const std::uint8_t byte : page) digits += {kDigits[byte >> 4], kDigits[byte & 15]};
  secrets.Hide(digits);
  ReplaceByStandIn(secrets.RecordingKey(), page);
}

// Source: ACS-4, 7.12 (IDENTIFY DEVICE): each word holds two bytes, the first in its high byte.
void SwapWords(Page page) {
  for (std::size_t i = 0; i + 1 < page.size(); i += 2) std::swap(page[i], page[i + 1]);
}

void HideAtaText(Secrets& secrets, Page page) {
  SwapWords(page);
  HideText(secrets, page);
  SwapWords(page);
}

// Source: ACS-4, 7.12.7: serial number words 10-19, world-wide name words 108-115, serial number of
// the medium words 176-205, integrity word 255.
void HideInIdentify(Secrets& secrets, Page page) {
  HideAtaText(secrets, Part(page, 2 * 10, 20));
  HideAtaText(secrets, Part(page, 2 * 176, 60));
  for (const std::size_t word : {108U, 112U}) {
    const Page name = Part(page, 2 * word, 8);
    SwapWords(name);
    HideNumber(secrets, name);
    SwapWords(name);
  }
  constexpr std::size_t kBytes = 512;
  constexpr std::uint8_t kHasChecksum = 0xA5;
  if (page.size() < kBytes || page[kBytes - 2] != kHasChecksum) return;
  unsigned sum = 0;
  for (std::size_t i = 0; i + 1 < kBytes; ++i) sum += page[i];
  page[kBytes - 1] = static_cast<std::uint8_t>(0x100 - (sum & 0xFF));
}

// Source: SPC-5, 7.7.6.1: 4 bytes of head each; code set 1 is binary; a T10 vendor designator (type
// 1) begins with 8 bytes of vendor.
void HideDesignators(Secrets& secrets, Page page) {
  std::size_t at = 4;
  while (at + 4 <= page.size()) {
    const bool isBinary = (page[at] & 0x0F) == 1;
    const bool hasVendor = (page[at + 1] & 0x0F) == 1;
    Page value = Part(page, at + 4, page[at + 3]);
    at += 4U + page[at + 3];
    if (isBinary) {
      HideNumber(secrets, value);
      continue;
    }
    if (!hasVendor) {
      const std::string text = TextOf(value);
      const std::size_t head = text.starts_with("naa.") || text.starts_with("eui.") ? 4
                               : text.starts_with("uuid.")                          ? 5
                                                                                    : 0;
      HideText(secrets, Part(value, head, value.size()));
      continue;
    }
    // Source: SAT-4, 10.4.4.2.2: model (40) and serial number (20).
    const bool isAta = TextOf(value).starts_with("ATA ") && value.size() >= 68;
    HideText(secrets, Part(value, isAta ? 48 : 8, value.size()));
  }
}

// Source: SPC-5, 7.7 (vital product data pages), 6.7.2 (standard data: vendor specific from 36).
void HideInVitalData(Secrets& secrets, std::uint8_t number, Page page) {
  constexpr std::uint8_t kSerial = 0x80, kDesignators = 0x83, kAta = 0x89;
  if (number == kSerial) HideText(secrets, Part(page, 4, page.size()));
  if (number == kDesignators) HideDesignators(secrets, page);
  if (number == kAta) HideInIdentify(secrets, Part(page, 60, 512));
}

void HideInStandardData(Secrets& secrets, Page page) {
  HideText(secrets, Part(page, 36, 20));
}

// Source: NVM Express Base 2.0, 5.17.2: structures of Identify by their CNS.
void HideInNvmeIdentify(Secrets& secrets, std::uint8_t structure, Page page) {
  constexpr std::uint8_t kNamespace = 0, kController = 1, kDescriptors = 3;
  if (structure == kNamespace) {
    HideNumber(secrets, Part(page, 104, 16));
    HideNumber(secrets, Part(page, 120, 8));
  }
  if (structure == kController) {
    HideText(secrets, Part(page, 4, 20));
    HideNumber(secrets, Part(page, 112, 16));
    HideText(secrets, Part(page, 768, 256));
  }
  if (structure != kDescriptors) return;
  // Type and length in a head of 4 bytes; a command set (type 4) is no secret.
  for (std::size_t at = 0; at + 4 <= page.size() && page[at + 1] != 0; at += 4U + page[at + 1]) {
    if (page[at] != 4) HideNumber(secrets, Part(page, at + 4, page[at + 1]));
  }
}

bool IsIn(std::uint8_t code, std::initializer_list<std::uint8_t> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// The command and the address of an ATA command, whichever way it is sent.
struct AtaAddress {
  std::uint8_t command = 0;
  std::uint64_t lba = 0;
};

std::uint8_t ByteOf(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  return at < bytes.size() ? bytes[at] : 0;
}

// Source: SAT-4, 12.2.2: ATA PASS-THROUGH (12) and (16).
bool IsPassThrough(const std::vector<std::uint8_t>& cdb) {
  return IsIn(ByteOf(cdb, 0), {0x85, 0xA1});
}

AtaAddress AtaOf(const std::vector<std::uint8_t>& cdb) {
  if (ByteOf(cdb, 0) == 0xA1) {
    return {ByteOf(cdb, 9), ByteOf(cdb, 5) | std::uint64_t{ByteOf(cdb, 6)} << 8};
  }
  return {ByteOf(cdb, 14), ByteOf(cdb, 8) | std::uint64_t{ByteOf(cdb, 10)} << 8};
}

// Source: ACS-4, 7: IDENTIFY (PACKET) DEVICE, SMART, READ LOG EXT and READ LOG DMA EXT, CHECK POWER
// MODE. What else brings data may bring what is on the medium.
DataOf DataOfAta(const AtaAddress& ata) {
  return IsIn(ata.command, {0xEC, 0xA1, 0xB0, 0x2F, 0x47, 0xE5}) ? DataOf::kDrive : DataOf::kMedium;
}

// Source: SPC-5, 6; SBC-4, 5: TEST UNIT READY, REQUEST SENSE, INQUIRY, MODE SENSE, READ CAPACITY,
// READ DEFECT DATA, LOG SENSE, REPORT LUNS and other reports.
DataOf DataOfScsi(const std::vector<std::uint8_t>& cdb) {
  if (IsPassThrough(cdb)) return DataOfAta(AtaOf(cdb));
  constexpr std::uint8_t kServiceActionIn = 0x9E, kReadCapacity16 = 0x10;
  if (ByteOf(cdb, 0) == kServiceActionIn) {
    return (ByteOf(cdb, 1) & 0x1F) == kReadCapacity16 ? DataOf::kDrive : DataOf::kMedium;
  }
  return IsIn(ByteOf(cdb, 0), {0x00, 0x03, 0x12, 0x1A, 0x5A, 0x25, 0x37, 0xB7, 0x4D, 0xA0})
             ? DataOf::kDrive
             : DataOf::kMedium;
}

// Source: NVM Express Base 2.0, 5: Get Log Page, Identify, Get Features.
DataOf DataOfNvme(const sdk::NvmeAdminCommand& nvme) {
  constexpr std::uint8_t kGetFeatures = 0x0A, kHostIdentifier = 0x81;
  if (nvme.opcode == kGetFeatures && (nvme.dwords[0] & 0xFF) == kHostIdentifier) {
    return DataOf::kMedium;
  }
  return IsIn(nvme.opcode, {0x02, 0x06, kGetFeatures}) ? DataOf::kDrive : DataOf::kMedium;
}

void HideInAta(Secrets& secrets, const AtaAddress& ata, Page data) {
  if (IsIn(ata.command, {0xEC, 0xA1})) HideInIdentify(secrets, data);
  // Source: ACS-4, 9.11 (IDENTIFY DEVICE data log, 30h): page 1 is a copy, page 5 has the strings.
  constexpr std::uint64_t kIdentifyLog = 0x30;
  if (!IsIn(ata.command, {0x2F, 0x47}) || (ata.lba & 0xFF) != kIdentifyLog) return;
  const std::uint64_t page = ata.lba >> 8 & 0xFF;
  if (page == 1) HideInIdentify(secrets, data);
  if (page == 5) HideAtaText(secrets, Part(data, 8, 20));
}

void HideInScsi(Secrets& secrets, const std::vector<std::uint8_t>& cdb, Page data) {
  constexpr std::uint8_t kInquiry = 0x12;
  if (IsPassThrough(cdb)) return HideInAta(secrets, AtaOf(cdb), data);
  if (ByteOf(cdb, 0) != kInquiry) return;
  if ((ByteOf(cdb, 1) & 1) != 0) {
    HideInVitalData(secrets, ByteOf(cdb, 2), data);
  } else {
    HideInStandardData(secrets, data);
  }
}

}  // namespace

bool HideInPageFile(Secrets& secrets, const std::string& path, std::string& content) {
  struct Row {
    std::string_view name;
    void (*hide)(Secrets& secrets, Page page);
  };
  static constexpr std::array<Row, 5> kRows = {{
      {"/vpd_pg80", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x80, page); }},
      {"/vpd_pg83", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x83, page); }},
      {"/vpd_pg89", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x89, page); }},
      {"/inquiry", HideInStandardData},
      {"/identify", HideInIdentify},
  }};
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [&path](const Row& one) { return path.ends_with(one.name); });
  if (row == kRows.end()) return false;
  row->hide(secrets, Page(reinterpret_cast<std::uint8_t*>(content.data()), content.size()));
  return true;
}

bool IsFirmwarePage(const std::string& path) {
  static constexpr std::array<std::string_view, 3> kFolders = {
      "/sys/firmware/dmi/", "/sys/firmware/acpi/", "/sys/firmware/efi/efivars/"};
  static constexpr std::array<std::string_view, 4> kNames = {"/edid", "/eeprom", "/nvmem", "/vpd"};
  return std::any_of(kFolders.begin(), kFolders.end(),
                     [&path](std::string_view folder) { return path.starts_with(folder); }) ||
         std::any_of(kNames.begin(), kNames.end(),
                     [&path](std::string_view name) { return path.ends_with(name); });
}

DataOf DataOfCommand(const sdk::DriveCommand& command) {
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    return DataOfAta({ata->command, ata->lba});
  }
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    return DataOfScsi(scsi->cdb);
  }
  return DataOfNvme(std::get<sdk::NvmeAdminCommand>(command.command));
}

void HideInAnswer(Secrets& secrets, const sdk::DriveCommand& command, Page data) {
  constexpr std::uint8_t kNvmeIdentify = 0x06;
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    HideInAta(secrets, {ata->command, ata->lba}, data);
  } else if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    HideInScsi(secrets, scsi->cdb, data);
  } else {
    const auto& nvme = std::get<sdk::NvmeAdminCommand>(command.command);
    if (nvme.opcode == kNvmeIdentify) {
      HideInNvmeIdentify(secrets, static_cast<std::uint8_t>(nvme.dwords[0]), data);
    }
  }
  Put(data, secrets.Hidden(TextOf(data)));
}

}  // namespace orvan::recording
