#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "service/modules/storage/ata/identify.h"
#include "service/modules/storage/ata/smart_data.h"
#include "service/modules/storage/drive/ask.h"
#include "service/modules/storage/nvme/health_log.h"
#include "service/modules/storage/scsi/condition_pages.h"
#include "service/modules/storage/scsi/error_counters.h"

// What a drive says of its own health.
namespace orvan::storage {

struct AtaHealth {
  ata::Identify identity;
  ata::SmartData data;
  std::optional<ata::Thresholds> thresholds;
};

struct NvmeHealth {
  nvme::HealthLog log;
};

// None: the drive has no such page, or it could not be had.
struct ScsiHealth {
  std::optional<scsi::InformationalExceptions> exceptions;
  std::optional<scsi::Temperatures> temperatures;
  std::optional<scsi::StartStopCounts> starts;
  std::optional<scsi::ErrorCounters> reads;
  std::optional<scsi::ErrorCounters> writes;
  std::optional<scsi::ErrorCounters> verifies;
  std::optional<std::uint64_t> nonMediumErrors;
  std::optional<std::uint8_t> usedPercent;
};

struct DriveHealth {
  // Nothing: it could not be had, and `kind` and `reason` say why.
  std::variant<std::monostate, AtaHealth, NvmeHealth, ScsiHealth> told;
  DriveAnswer::Kind kind = DriveAnswer::Kind::kDone;
  std::string reason;                  // plain text
  std::vector<DriveTrouble> troubles;  // what of it could not be had or trusted

  bool IsTold() const { return told.index() != 0; }
};

// Why an ATA drive is not asked for SMART; none: it is. Any thread.
std::optional<DriveTrouble> WhyNoSmart(const ata::Identify& identity);

// Asks with the fewest commands: an ATA drive for its attributes and their thresholds, an NVMe
// drive for one log, a SCSI drive for the list of its log pages and those of them that tell of
// health. A drive that vanishes, hangs or is not ours to ask has told nothing, whatever it said
// before, and so it is after a stop. The thread of the link.
DriveHealth ReadHealth(DriveLink& link);

}  // namespace orvan::storage
