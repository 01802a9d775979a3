#include "service/modules/storage/health/attributes.h"

namespace orvan::storage {

HealthAttributes AttributesOf(const DriveHealth& health) {
  if (const auto* ata = std::get_if<AtaHealth>(&health.told)) return AttributesOf(*ata);
  if (const auto* nvme = std::get_if<NvmeHealth>(&health.told)) return AttributesOf(*nvme);
  if (const auto* scsi = std::get_if<ScsiHealth>(&health.told)) return AttributesOf(*scsi);
  return {};
}

}  // namespace orvan::storage
