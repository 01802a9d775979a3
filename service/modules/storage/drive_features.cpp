#include "service/modules/storage/drive_features.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "service/modules/storage/link_speed.h"
#include "service/modules/storage/scsi/vital_pages.h"

namespace orvan::storage {
namespace {

constexpr std::size_t kLongestPage = 4096;

// One drive, and what the machine tells of it.
struct Told {
  const sdk::MachineFiles& files;
  const std::string& hardware;  // its folder below /sys/devices
  const DiskFacts& facts;
  LinkSpeeds speeds = {};
  // Of a drive whose IDENTIFY data does not tell as much.
  std::optional<scsi::BlockCharacteristics> characteristics = {};

  std::optional<std::uint64_t> Number(const char* name) const {
    return files.ReadNumber(facts.folder + name);
  }
};

std::string Capital(std::string text) {
  if (text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text;
}

std::string WorldWideName(const Told& told) {
  const std::string& name = told.facts.worldWideName;
  // Source: SPC-5, 7.7.6.6: what begins with 3 is assigned by whom the drive serves. Others are
  // made of model and serial number.
  const bool isOne = (name.starts_with("naa.") && !name.starts_with("naa.3")) ||
                     name.starts_with("eui.") || name.starts_with("uuid.");
  return isOne ? name : std::string();
}

std::string SpeedNow(const Told& told) {
  return told.speeds.now;
}

std::string MostSpeed(const Told& told) {
  return told.speeds.most;
}

std::string RotationRate(const Told& told) {
  std::optional<std::uint16_t> rate;
  if (told.characteristics) rate = told.characteristics->rotationsPerMinute;
  if (told.facts.identify && told.facts.identify->rotationsPerMinute) {
    rate = told.facts.identify->rotationsPerMinute;
  }
  return rate ? std::to_string(*rate) + " rpm" : std::string();
}

std::string FormFactor(const Told& told) {
  if (told.facts.identify && told.facts.identify->formFactor) {
    return *told.facts.identify->formFactor;
  }
  if (!told.characteristics || !told.characteristics->formFactor) return {};
  return scsi::FormFactorText(*told.characteristics->formFactor);
}

// What the kernel has at the drive at once, which may be less than the drive can take.
std::string QueueDepth(const Told& told) {
  const bool isNvme = told.facts.transport == Transport::kNvme;
  const std::string controller = told.hardware.substr(0, told.hardware.find_last_of('/'));
  // Source: Linux, drivers/nvme/host/pci.c: the size of each queue, of which one stays empty.
  const auto used =
      isNvme ? told.files.ReadNumber(controller + "/sqsize") : told.Number("/device/queue_depth");
  const unsigned most = told.facts.identify ? told.facts.identify->queueDepth.value_or(0) : 0;
  if (!used) return most == 0 ? std::string() : std::to_string(most);
  return std::to_string(*used) + (*used < most ? " of " + std::to_string(most) : "");
}

std::string Trim(const Told& told) {
  const auto discarded = told.Number("/queue/discard_max_bytes");
  if (told.facts.identify) {
    if (!told.facts.identify->hasTrim) return "Not supported";
    return discarded == 0 ? "Supported, but not used by the system" : "Supported";
  }
  if (!discarded) return {};
  // What a bridge does not pass on says nothing about the drive.
  if (*discarded == 0 && told.facts.transport == Transport::kUsb) return {};
  return *discarded == 0 ? "Not supported" : "Supported";
}

std::string Security(const Told& told) {
  if (!told.facts.identify) return {};
  const ata::Security& security = told.facts.identify->security;
  return security.isSupported ? Capital(ata::SecurityText(security)) : "Not supported";
}

bool HasVitalPages(Transport transport) {
  return transport == Transport::kSata || transport == Transport::kScsi ||
         transport == Transport::kSas || transport == Transport::kUsb;
}

// Source: SBC-4, 6.6.2, the page B1h, which the kernel keeps as it was when it found the drive.
std::optional<scsi::BlockCharacteristics> ReadCharacteristics(const Told& told) {
  const std::string page =
      told.files.ReadBytes(told.facts.folder + "/device/vpd_pgb1", kLongestPage).value_or("");
  return scsi::DecodeBlockCharacteristics(BytesIn(page)).value;
}

}  // namespace

DiskRows ReadFeatures(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                      const DiskFacts& facts) {
  struct Row {
    const char* label;
    std::string (*text)(const Told& told);
  };
  static constexpr std::array<Row, 8> kRows = {{
      {"WORLD_WIDE_NAME", &WorldWideName},
      {"INTERFACE_SPEED", &SpeedNow},
      {"MAXIMUM_INTERFACE_SPEED", &MostSpeed},
      {"ROTATION_RATE", &RotationRate},
      {"FORM_FACTOR", &FormFactor},
      {"QUEUE_DEPTH", &QueueDepth},
      {"TRIM", &Trim},
      {"SECURITY", &Security},
  }};
  if (facts.transport == Transport::kLoop) return {};
  Told told{files, hardwareFolder, facts, ReadLinkSpeeds(files, hardwareFolder, facts)};
  const bool isFormTold = facts.identify && facts.identify->formFactor;
  if (!isFormTold && HasVitalPages(facts.transport)) {
    told.characteristics = ReadCharacteristics(told);
  }
  DiskRows rows;
  for (const Row& row : kRows) {
    std::string text = row.text(told);
    if (!text.empty()) rows.emplace_back(row.label, std::move(text));
  }
  return rows;
}

}  // namespace orvan::storage
