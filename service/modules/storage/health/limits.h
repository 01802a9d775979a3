#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "service/modules/storage/ata/device_statistics.h"
#include "service/modules/storage/health/drive_health.h"

// Up to where the numbers that a drive tells of itself are sane. No standard says so: past a limit
// a drive is worth a warning, and is not called faulty. Any thread.
namespace orvan::storage {

// All that an ATA drive tells of its health in numbers.
struct AtaNumbers {
  const AtaHealth* health = nullptr;
  std::vector<ata::Statistic> statistics = {};
};

// Which values are sane.
enum class Bound : std::uint8_t {
  kAtMost,   // up to the limit
  kBelow,    // below it
  kAtLeast,  // from it on
  kSteady,   // no more than at the last run; the limit counts for nothing
};

template <typename Told>
struct Limit {
  const char* name;                                    // "Pending sectors"
  std::optional<std::uint64_t> (*value)(const Told&);  // none: the drive does not tell it
  Bound bound;
  std::uint64_t limit;
  const char* unit;
  const char* reason;  // why that is the limit, for people
};

std::span<const Limit<AtaNumbers>> AtaLimits();
std::span<const Limit<nvme::HealthLog>> NvmeLimits();
std::span<const Limit<ScsiHealth>> ScsiLimits();

}  // namespace orvan::storage
