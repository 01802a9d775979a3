#include "service/modules/storage/link_speed.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

namespace orvan::storage {
namespace {

std::string Parent(const std::string& folder) {
  const std::size_t at = folder.find_last_of('/');
  return at == std::string::npos ? std::string() : folder.substr(0, at);
}

std::string Name(const std::string& folder) {
  return folder.substr(folder.find_last_of('/') + 1);
}

// What a part that begins so lies in, e.g. ".../ata7" of ".../ata7/host6/..."; empty: there is no
// such part.
std::string FolderAbove(const std::string& folder, std::string_view part) {
  const std::size_t at = folder.rfind('/' + std::string(part));
  return at == std::string::npos ? std::string() : folder.substr(0, at);
}

// "8.0" of "8.0 GT/s PCIe"; empty of "Unknown" and "<unknown>".
std::string LeadingNumber(const std::string& text) {
  return text.substr(0, std::min(text.find_first_not_of("0123456789."), text.size()));
}

// The number that a text begins with, in that unit.
std::string InUnit(const std::string& text, const char* unit) {
  const std::string number = LeadingNumber(text);
  return number.empty() || number == "0" ? std::string() : number + unit;
}

// Source: Linux, Documentation/ABI/testing/sysfs-ata: ata_link, sata_spd ("6.0 Gbps"). A port
// multiplier has a link for each of its ports, which are the channels of their target.
std::string SataNow(const sdk::MachineFiles& files, const std::string& hardware) {
  const std::string port = FolderAbove(hardware, "host");
  const std::string name = Name(port);
  constexpr std::string_view kPort = "ata";
  if (!name.starts_with(kPort)) return {};
  const std::string link = "link" + name.substr(kPort.size());
  const std::size_t channel = hardware.find(':', hardware.rfind("/target"));
  const std::string behindMultiplier =
      link + '.' + LeadingNumber(hardware.substr(std::min(channel, hardware.size() - 1) + 1));
  for (const std::string& one : {behindMultiplier, link}) {
    std::string path = port;
    path += '/' + one + "/ata_link/" + one + "/sata_spd";
    std::string speed = InUnit(files.ReadText(path), " Gb/s");
    if (!speed.empty()) return speed;
  }
  return {};
}

LinkSpeeds OfAta(const sdk::MachineFiles& files, const std::string& hardware,
                 const DiskFacts& facts) {
  LinkSpeeds speeds{SataNow(files, hardware), {}};
  if (!facts.identify) return speeds;
  const ata::Identify& identify = *facts.identify;
  if (identify.mostSpeed) speeds.most = ata::SpeedText(*identify.mostSpeed);
  if (speeds.now.empty() && identify.speedNow) speeds.now = ata::SpeedText(*identify.speedNow);
  return speeds;
}

// Source: Linux, drivers/scsi/scsi_transport_sas.c: sas_phy, negotiated_linkrate ("12.0 Gbit"). A
// port has a link to each of its phys.
LinkSpeeds OfSas(const sdk::MachineFiles& files, const std::string& hardware,
                 const DiskFacts& facts) {
  LinkSpeeds speeds = OfAta(files, hardware, facts);
  const std::string port = FolderAbove(hardware, "end_device-");
  if (port.empty()) return speeds;
  for (const std::string& phy : files.List(port)) {
    if (!phy.starts_with("phy-")) continue;
    std::string path = port;
    path += '/' + phy + "/sas_phy/" + phy + "/negotiated_linkrate";
    std::string now = InUnit(files.ReadText(path), " Gb/s");
    if (now.empty()) continue;
    speeds.now = std::move(now);
    break;
  }
  return speeds;
}

// Source: Linux, drivers/pci/pci-sysfs.c: speed ("8.0 GT/s PCIe") and width of a link.
std::string OfPci(const sdk::MachineFiles& files, const std::string& function, const char* which) {
  const std::string path = function + '/' + which;
  const std::string speed = InUnit(files.ReadText(path + "_link_speed"), " GT/s");
  const std::string width = InUnit(files.ReadText(path + "_link_width"), "");
  return speed.empty() || width.empty() ? speed : speed + " x" + width;
}

LinkSpeeds OfNvme(const sdk::MachineFiles& files, const std::string& hardware) {
  const std::string function = FolderAbove(hardware, "nvme/");
  if (function.empty()) return {};
  return {OfPci(files, function, "current"), OfPci(files, function, "max")};
}

// Source: Linux, Documentation/ABI/testing/sysfs-bus-usb: speed, in Mb/s.
LinkSpeeds OfUsb(const sdk::MachineFiles& files, const std::string& hardware) {
  const std::string text = files.ReadText(Parent(FolderAbove(hardware, "host")) + "/speed");
  const auto speed = sdk::MachineFiles::ParseNumber(text);
  if (!speed || *speed < 1000) return {InUnit(text, " Mb/s"), {}};
  return {std::to_string(*speed / 1000) + '.' + std::to_string(*speed % 1000 / 100) + " Gb/s", {}};
}

}  // namespace

LinkSpeeds ReadLinkSpeeds(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                          const DiskFacts& facts) {
  switch (facts.transport) {
    case Transport::kSata:
      return OfAta(files, hardwareFolder, facts);
    case Transport::kSas:
      return OfSas(files, hardwareFolder, facts);
    case Transport::kNvme:
      return OfNvme(files, hardwareFolder);
    case Transport::kUsb:
      return OfUsb(files, hardwareFolder);
    case Transport::kScsi:
    case Transport::kVirtio:
    case Transport::kMmc:
    case Transport::kXen:
    case Transport::kLoop:
    case Transport::kUnknown:
      break;
  }
  return {};
}

}  // namespace orvan::storage
