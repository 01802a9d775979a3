#include "service/modules/storage/identity.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "service/modules/storage/scsi/vital_pages.h"

namespace orvan::storage {
namespace {

// What VPD pages have at most.
constexpr std::size_t kLongestPage = 4096;
// Source: SAT-4, ATA Information VPD page (89h): IDENTIFY DEVICE data from byte 60, of which 4 are
// the head of the page.
constexpr std::uint8_t kAtaPage = 0x89;
constexpr std::size_t kIdentifyInBody = 56;

std::string FirstOf(const sdk::MachineFiles& files, const std::string& folder,
                    std::initializer_list<const char*> names) {
  for (const char* name : names) {
    std::string text = files.ReadText(folder + name);
    if (!text.empty()) return text;
  }
  return {};
}

// The folder of the USB device that a path leads through; the innermost one.
std::string UsbDeviceFolder(const sdk::MachineFiles& files, std::string folder) {
  while (folder.size() > 1) {
    if (files.Exists(folder + "/idVendor")) return folder;
    folder.erase(folder.find_last_of('/'));
  }
  return {};
}

std::optional<ata::Identify> ReadIdentify(const sdk::MachineFiles& files,
                                          const std::string& device) {
  const std::string page = files.ReadBytes(device + "/vpd_pg89", kLongestPage).value_or("");
  const auto body = scsi::VitalPageBody(BytesIn(page), kAtaPage);
  if (!body.value) return {};
  return ata::DecodeIdentify(Part(*body.value, kIdentifyInBody)).value;
}

void ReadScsi(const sdk::MachineFiles& files, const std::string& device, DiskFacts& facts) {
  const std::string vendor = FirstOf(files, device, {"/vendor"});
  facts.model = FirstOf(files, device, {"/model"});
  if (!vendor.empty() && vendor != "ATA") facts.model = Trimmed(vendor + ' ' + facts.model);
  facts.firmware = FirstOf(files, device, {"/rev"});
  facts.worldWideName = FirstOf(files, device, {"/wwid"});
  const std::string page80 = files.ReadBytes(device + "/vpd_pg80", 260).value_or("");
  if (const auto body = scsi::VitalPageBody(BytesIn(page80), scsi::kUnitSerialPage).value) {
    facts.serial = Trimmed({body->begin(), body->end()});
  }
  facts.identify = ReadIdentify(files, device);
  if (!facts.identify) return;
  // INQUIRY cuts an ATA disk's model to 16 characters and its firmware to 4; this does not.
  const auto prefer = [](std::string& field, const std::string& text) {
    if (!text.empty()) field = text;
  };
  prefer(facts.model, facts.identify->model);
  prefer(facts.firmware, facts.identify->firmware);
  prefer(facts.serial, facts.identify->serial);
}

void ReadUsb(const sdk::MachineFiles& files, const std::string& folder, DiskFacts& facts) {
  const std::string usb = UsbDeviceFolder(files, folder);
  if (usb.empty()) return;
  if (facts.serial.empty()) facts.serial = FirstOf(files, usb, {"/serial"});
  if (facts.model.empty()) facts.model = FirstOf(files, usb, {"/product"});
}

Transport FindTransport(const std::string& kernelName, const std::string& folder) {
  struct Rule {
    std::string_view name;    // the kernel name begins with it
    std::string_view within;  // the folder contains it
    Transport transport;
  };
  static constexpr std::array<Rule, 10> kRules = {{
      {"loop", "", Transport::kLoop},
      {"nvme", "", Transport::kNvme},
      {"mmcblk", "", Transport::kMmc},
      {"vd", "", Transport::kVirtio},
      {"xvd", "", Transport::kXen},
      {"sd", "/usb", Transport::kUsb},
      {"sd", "/ata", Transport::kSata},
      {"sd", "/end_device-", Transport::kSas},
      {"sd", "", Transport::kScsi},
      {"", "", Transport::kUnknown},
  }};
  return std::find_if(kRules.begin(), kRules.end(),
                      [&](const Rule& rule) {
                        return kernelName.starts_with(rule.name) &&
                               folder.find(rule.within) != std::string::npos;
                      })
      ->transport;
}

}  // namespace

std::string Trimmed(const std::string& text) {
  static constexpr std::string_view kBlanks(" \t\r\n\0", 5);
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

void ReadIdentity(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                  DiskFacts& facts) {
  const std::string& block = facts.folder;
  const std::string device = block + "/device";
  facts.transport = FindTransport(facts.kernelName, hardwareFolder);
  switch (facts.transport) {
    case Transport::kLoop:
      facts.model = "Loop device";
      facts.backingFile = FirstOf(files, block, {"/loop/backing_file"});
      break;
    case Transport::kNvme:
      facts.model = FirstOf(files, device, {"/model"});
      facts.firmware = FirstOf(files, device, {"/firmware_rev"});
      facts.serial = FirstOf(files, device, {"/serial"});
      facts.worldWideName = FirstOf(files, block, {"/wwid", "/eui", "/nguid"});
      break;
    case Transport::kMmc:
      facts.model = FirstOf(files, device, {"/name"});
      facts.firmware = FirstOf(files, device, {"/fwrev"});
      facts.serial = FirstOf(files, device, {"/serial"});
      facts.worldWideName = FirstOf(files, device, {"/cid"});
      break;
    case Transport::kVirtio:
    case Transport::kXen:
    case Transport::kUnknown:
      facts.serial = FirstOf(files, block, {"/serial"});
      break;
    case Transport::kSata:
    case Transport::kScsi:
    case Transport::kSas:
      ReadScsi(files, device, facts);
      break;
    case Transport::kUsb:
      ReadScsi(files, device, facts);
      ReadUsb(files, hardwareFolder, facts);
      break;
  }
}

}  // namespace orvan::storage
