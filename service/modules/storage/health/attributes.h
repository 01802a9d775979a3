#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/health/drive_health.h"

// What a drive tells of itself, as a technician reads it. Any thread.
namespace orvan::storage {

// "-": the drive does not tell it, or drives of its kind have no such thing.
struct HealthAttribute {
  std::uint8_t id = 0;  // the drive's own with ATA; else the same one in every drive
  std::string name;
  std::string threshold = "-";
  std::string value = "-";
  std::string worst = "-";
  std::string data = "-";
  // The data as a number and its unit, of drives that are not ATA; none: it is no number, or means
  // nothing in this drive.
  std::optional<double> number = {};
  const char* unit = "";
};

using HealthAttributes = std::vector<HealthAttribute>;

// Empty when nothing is told.
HealthAttributes AttributesOf(const DriveHealth& health);

// In the drive's own order; the others always in the same one.
HealthAttributes AttributesOf(const AtaHealth& health);
HealthAttributes AttributesOf(const NvmeHealth& health);
HealthAttributes AttributesOf(const ScsiHealth& health);

}  // namespace orvan::storage
