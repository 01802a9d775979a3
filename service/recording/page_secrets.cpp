#include "service/recording/page_secrets.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "service/recording/known_pages.h"

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

// What a maker puts in where it may put in anything.
void Clear(Page page) {
  std::fill(page.begin(), page.end(), std::uint8_t{0});
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

// Source: ACS-4, 7.12.7: serial number words 10-19, world-wide name words 108-115, vendor specific
// words 129-159, serial number of the medium words 176-205, integrity word 255.
void HideInIdentify(Secrets& secrets, Page page) {
  HideAtaText(secrets, Part(page, 2 * 10, 20));
  HideAtaText(secrets, Part(page, 2 * 176, 60));
  Clear(Part(page, 2 * 129, 2 * 31));
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

// Source: SPC-5, 7.7 (vital product data pages), 6.7.2 (standard data: vendor specific from 36 to
// 55 and from 96 on).
void HideInVitalData(Secrets& secrets, std::uint8_t number, Page page) {
  constexpr std::uint8_t kSerial = 0x80, kDesignators = 0x83, kAta = 0x89;
  if (number == kSerial) HideText(secrets, Part(page, 4, page.size()));
  if (number == kDesignators) HideDesignators(secrets, page);
  if (number == kAta) HideInIdentify(secrets, Part(page, 60, 512));
}

void HideInStandardData(Secrets& secrets, Page page) {
  HideText(secrets, Part(page, 36, 20));
  Clear(Part(page, 96, page.size()));
}

// Source: NVM Express Base 2.0, 5.17.2: structures of Identify by their CNS; vendor specific from
// 384 on of a namespace, and from 3072 on of a controller.
void HideInNvmeIdentify(Secrets& secrets, std::uint8_t structure, Page page) {
  constexpr std::uint8_t kNamespace = 0, kController = 1, kDescriptors = 3, kAllocated = 0x11;
  if (structure == kNamespace || structure == kAllocated) {
    HideNumber(secrets, Part(page, 104, 16));
    HideNumber(secrets, Part(page, 120, 8));
    Clear(Part(page, 384, 4096 - 384));
  }
  if (structure == kController) {
    HideText(secrets, Part(page, 4, 20));
    HideNumber(secrets, Part(page, 112, 16));
    HideText(secrets, Part(page, 768, 256));
    Clear(Part(page, 3072, 1024));
  }
  if (structure != kDescriptors) return;
  // Type and length in a head of 4 bytes; a command set (type 4) is no secret.
  for (std::size_t at = 0; at + 4 <= page.size() && page[at + 1] != 0; at += 4U + page[at + 1]) {
    if (page[at] != 4) HideNumber(secrets, Part(page, at + 4, page[at + 1]));
  }
}

// Source: ACS-4, 9.11 (IDENTIFY DEVICE data log): page 1 is a copy, page 5 has the strings.
void HideInIdentifyLog(Secrets& secrets, std::uint64_t firstPage, Page data) {
  constexpr std::size_t kBytes = 512;
  for (std::size_t at = 0; at < data.size(); at += kBytes) {
    const std::uint64_t number = firstPage + at / kBytes;
    if (number == 1) HideInIdentify(secrets, Part(data, at, kBytes));
    if (number == 5) HideAtaText(secrets, Part(data, at + 8, 20));
  }
}

void HideInAta(Secrets& secrets, const AtaAddress& ata, Page data) {
  constexpr std::uint8_t kIdentify = 0xEC, kIdentifyPacket = 0xA1;
  std::uint64_t firstPage = 0;
  if (ata.command == kIdentify || ata.command == kIdentifyPacket) HideInIdentify(secrets, data);
  if (ReadsIdentifyLog(ata, firstPage)) HideInIdentifyLog(secrets, firstPage, data);
}

void HideInScsi(Secrets& secrets, const std::vector<std::uint8_t>& cdb, Page data) {
  constexpr std::uint8_t kInquiry = 0x12;
  if (IsPassThrough(cdb)) return HideInAta(secrets, AtaOf(cdb), data);
  if (cdb.size() < 3 || cdb[0] != kInquiry) return;
  if ((cdb[1] & 1) != 0) {
    HideInVitalData(secrets, cdb[2], data);
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
  // Source: SBC-4, 6.6: limits, characteristics and provisioning of blocks name nobody.
  constexpr auto kNothing = [](Secrets&, Page) {};
  static constexpr std::array<Row, 8> kRows = {{
      {"/vpd_pg80", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x80, page); }},
      {"/vpd_pg83", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x83, page); }},
      {"/vpd_pg89", [](Secrets& secrets, Page page) { HideInVitalData(secrets, 0x89, page); }},
      {"/vpd_pgb0", kNothing},
      {"/vpd_pgb1", kNothing},
      {"/vpd_pgb2", kNothing},
      {"/inquiry", HideInStandardData},
      {"/identify", HideInIdentify},
  }};
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [&path](const Row& one) { return path.ends_with(one.name); });
  if (row == kRows.end()) return false;
  row->hide(secrets, Page(reinterpret_cast<std::uint8_t*>(content.data()), content.size()));
  content = secrets.HiddenInPage(content);
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

void HideInAnswer(Secrets& secrets, const sdk::DriveCommand& command, Page data) {
  constexpr std::uint8_t kNvmeIdentify = 0x06;
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    HideInAta(secrets, AtaOf(*ata), data);
  } else if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    HideInScsi(secrets, scsi->cdb, data);
  } else {
    const auto& nvme = std::get<sdk::NvmeAdminCommand>(command.command);
    if (nvme.opcode == kNvmeIdentify) {
      HideInNvmeIdentify(secrets, static_cast<std::uint8_t>(nvme.dwords[0]), data);
    }
  }
  Put(data, secrets.HiddenInPage(TextOf(data)));
}

}  // namespace orvan::recording
