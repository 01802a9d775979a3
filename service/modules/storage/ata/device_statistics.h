#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// Where a statistic stands.
struct StatisticPlace {
  std::uint8_t page = 0;
  std::uint16_t at = 0;

  bool operator==(const StatisticPlace&) const = default;
};

constexpr StatisticPlace kPowerOnHours{0x01, 0x10};
constexpr StatisticPlace kPendingErrors{0x01, 0x40};
constexpr StatisticPlace kReallocatedSectors{0x03, 0x20};
constexpr StatisticPlace kReallocationCandidates{0x03, 0x38};
constexpr StatisticPlace kReportedUncorrectable{0x04, 0x08};
constexpr StatisticPlace kTemperature{0x05, 0x08};
constexpr StatisticPlace kMostTemperature{0x05, 0x58};
constexpr StatisticPlace kInterfaceCrcErrors{0x06, 0x18};
constexpr StatisticPlace kPercentageUsed{0x07, 0x08};

// A statistic that the drive supports.
struct Statistic {
  StatisticPlace place;
  const char* name = "";  // "Number of Reallocated Logical Sectors"
  // None while the drive says that it has no valid value.
  std::optional<std::int64_t> value;
  bool isNormalized = false;    // the maker's own scale
  bool isConditionMet = false;  // the drive watches it, and it reached what it was to be told of
};

// The pages that the drive has, of page 00h. Pages beyond those that are decoded are listed too.
// Source: ACS-4, 9.5 (device statistics, log address 04h), list of supported pages.
Decoded<std::vector<std::uint8_t>> DecodeStatisticsPages(Bytes bytes);

// What page `number` (01h to 07h) says: each statistic that the drive supports, in the order of the
// page. Nothing when the drive has no such page, of which it answers zeros.
// Source: ACS-4, 9.5, tables of general, free-fall, rotating media, general errors, temperature,
// transport and solid state device statistics.
Decoded<std::vector<Statistic>> DecodeStatistics(Bytes bytes, std::uint8_t number);

// The value at a place; none when it is not there or not valid.
std::optional<std::int64_t> ValueAt(const std::vector<Statistic>& statistics, StatisticPlace place);

}  // namespace orvan::storage::ata
