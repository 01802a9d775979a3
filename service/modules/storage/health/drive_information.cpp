#include "service/modules/storage/health/drive_information.h"

#include <array>
#include <string_view>

#include "service/modules/storage/units.h"

namespace orvan::storage {
namespace {

void Add(DriveInformation& list, const char* name, std::string text) {
  if (!text.empty()) list.emplace_back(name, std::move(text));
}

std::string YesOrNo(bool is) {
  return is ? "yes" : "no";
}

std::string RotationText(const ata::Identify& identity) {
  if (identity.rotationsPerMinute) return std::to_string(*identity.rotationsPerMinute) + " rpm";
  if (!identity.isRotating) return {};
  return *identity.isRotating ? "rotating" : "solid state";
}

std::string InterfaceText(const ata::Identify& identity) {
  if (!identity.mostSpeed) return {};
  std::string text = ata::SpeedText(*identity.mostSpeed);
  if (identity.speedNow) text += ", now " + ata::SpeedText(*identity.speedNow);
  return text;
}

std::string WorldWideNameText(const ata::Identify& identity) {
  if (!identity.worldWideName) return {};
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "0x";
  for (int shift = 60; shift >= 0; shift -= 4) {
    text += kDigits[*identity.worldWideName >> shift & 0xFU];
  }
  return text;
}

std::string VersionText(std::uint32_t version) {
  return std::to_string(version >> 16) + '.' + std::to_string(version >> 8 & 0xFFU);
}

std::string BytesText(const std::optional<nvme::WideCount>& bytes) {
  if (!bytes) return {};
  return bytes->high == 0 ? DecimalSize(bytes->low) : bytes->Text() + " bytes";
}

}  // namespace

DriveInformation InformationOf(const DiskFacts& facts) {
  DriveInformation list;
  Add(list, "Model", facts.model);
  Add(list, "Serial number", facts.serial);
  Add(list, "Firmware", facts.firmware);
  if (facts.sizeBytes) Add(list, "Size", DecimalSize(*facts.sizeBytes));
  Add(list, "Transport", TransportName(facts.transport));
  return list;
}

DriveInformation ListedInformation(const DiskFacts& facts) {
  static constexpr std::array<std::pair<std::string_view, const char*>, 6> kRows = {{
      {"WORLD_WIDE_NAME", "World-wide name"},
      {"ROTATION_RATE", "Rotation"},
      {"FORM_FACTOR", "Form factor"},
      {"INTERFACE_SPEED", "Interface, now"},
      {"MAXIMUM_INTERFACE_SPEED", "Interface, at most"},
      {"QUEUE_DEPTH", "Queue depth"},
  }};
  DriveInformation list;
  for (const auto& [label, name] : kRows) {
    for (const auto& [listed, text] : facts.features) {
      if (listed == label) Add(list, name, text);
    }
  }
  return list;
}

DriveInformation InformationOf(const AtaHealth& health) {
  const ata::Identify& identity = health.identity;
  DriveInformation list;
  Add(list, "World-wide name", WorldWideNameText(identity));
  Add(list, "Rotation", RotationText(identity));
  Add(list, "Form factor", identity.formFactor.value_or(""));
  Add(list, "Interface", InterfaceText(identity));
  Add(list, "Queue depth", identity.queueDepth ? std::to_string(*identity.queueDepth) : "");
  Add(list, "TRIM", YesOrNo(identity.hasTrim));
  Add(list, "Security", ata::SecurityText(identity.security));
  Add(list, "Self-tests", YesOrNo(identity.hasSelfTests || health.data.hasSelfTests));
  Add(list, "Error log", YesOrNo(identity.hasErrorLog || health.data.hasErrorLog));
  return list;
}

DriveInformation InformationOf(const nvme::Controller& controller) {
  DriveInformation list;
  if (controller.version) Add(list, "NVMe version", VersionText(*controller.version));
  Add(list, "Total capacity", BytesText(controller.totalBytes));
  Add(list, "Unallocated capacity", BytesText(controller.unallocatedBytes));
  if (controller.warningKelvin) {
    Add(list, "Warning temperature", KelvinText(*controller.warningKelvin));
  }
  if (controller.criticalKelvin) {
    Add(list, "Critical temperature", KelvinText(*controller.criticalKelvin));
  }
  Add(list, "TRIM", YesOrNo(controller.hasTrim));
  Add(list, "Self-tests", YesOrNo(controller.hasSelfTest));
  if (controller.extendedTestMinutes) {
    Add(list, "Extended self-test", std::to_string(*controller.extendedTestMinutes) + " minutes");
  }
  return list;
}

DriveInformation InformationOf(const ScsiHealth& health) {
  DriveInformation list;
  if (health.starts && !health.starts->yearMade.empty()) {
    Add(list, "Made in", "week " + health.starts->weekMade + " of " + health.starts->yearMade);
  }
  return list;
}

}  // namespace orvan::storage
