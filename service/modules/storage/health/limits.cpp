#include "service/modules/storage/health/limits.h"

#include <string_view>

#include "service/modules/storage/ata/attribute_names.h"

namespace orvan::storage {
namespace {

using Value = std::optional<std::uint64_t>;
using ata::StatisticPlace;

constexpr StatisticPlace kNoStatistic{};

// A statistic means the same in all drives, unless the maker put it on a scale of its own.
Value StatisticOf(const AtaNumbers& told, StatisticPlace place) {
  for (const ata::Statistic& one : told.statistics) {
    if (one.place != place || one.isNormalized || !one.value || *one.value < 0) continue;
    return static_cast<std::uint64_t>(*one.value);
  }
  return {};
}

// An attribute counts only where it means in this drive what the row says.
Value AttributeOf(const AtaNumbers& told, std::uint8_t id, std::string_view name) {
  const ata::Attribute* attribute = told.health->data.Find(id);
  if (attribute == nullptr) return {};
  const ata::Identify& identity = told.health->identity;
  const ata::AttributeMeaning meaning = ata::MeaningOf(id, identity.model, identity.isRotating);
  if (meaning.name != name) return {};
  const std::int64_t number = ata::ReadRaw(meaning.form, attribute->raw).number;
  return number < 0 ? Value() : Value(static_cast<std::uint64_t>(number));
}

constexpr char kReallocated[] = "Reallocated sectors";
constexpr char kPending[] = "Pending sectors";
constexpr char kOffline[] = "Offline uncorrectable sectors";
constexpr char kReported[] = "Reported uncorrectable errors";
constexpr char kEndToEnd[] = "End-to-end errors";
constexpr char kCrc[] = "Interface CRC errors";
constexpr char kUsed[] = "Percentage used";

// The statistic, or else the attribute; id 0: no attribute tells it alike in all drives.
template <const char* kName, std::uint8_t kId, StatisticPlace kPlace = kNoStatistic>
Value Ata(const AtaNumbers& told) {
  if (const Value value = StatisticOf(told, kPlace)) return value;
  return kId == 0 ? Value() : AttributeOf(told, kId, kName);
}

// The same of drives that are no solid state drives.
template <const char* kName, std::uint8_t kId, StatisticPlace kPlace>
Value AtaDisk(const AtaNumbers& told) {
  return told.health->identity.isRotating == false ? Value() : Ata<kName, kId, kPlace>(told);
}

// Source: ACS-4, 9.5 (device statistics), for what a statistic counts.
constexpr Limit<AtaNumbers> kAtaLimits[] = {
    {kReallocated, &AtaDisk<kReallocated, 5, ata::kReallocatedSectors>, Bound::kAtMost, 0, "",
     "a disk that has lost a first sector loses more far more often than others; that blocks of "
     "solid state drives wear out is watched by their own thresholds"},
    {kPending, &Ata<kPending, 197, ata::kPendingErrors>, Bound::kAtMost, 0, "",
     "each is a sector that cannot be read now, and whose data may be lost"},
    {kOffline, &Ata<kOffline, 198>, Bound::kAtMost, 0, "",
     "each is a sector that the drive's own scan could not read"},
    {kReported, &Ata<kReported, 187, ata::kReportedUncorrectable>, Bound::kAtMost, 0, "",
     "each is data that somebody asked for and did not get"},
    {kEndToEnd, &Ata<kEndToEnd, 184>, Bound::kAtMost, 0, "",
     "each is data that changed on its way through the drive's electronics"},
    {kCrc, &Ata<kCrc, 199, ata::kInterfaceCrcErrors>, Bound::kSteady, 0, "",
     "old ones are never forgotten, and may come from a cable that was exchanged since; new ones "
     "come from the cable or the port of now"},
    {kUsed, &Ata<kUsed, 0, ata::kPercentageUsed>, Bound::kBelow, 100, " %",
     "all the wear that the maker has promised it for is used"},
};

Value NvmeSpare(const nvme::HealthLog& log) {
  return log.TellsSpare() ? Value(log.sparePercent) : Value();
}
Value NvmeUsed(const nvme::HealthLog& log) {
  return log.usedPercent;
}
Value NvmeMediaErrors(const nvme::HealthLog& log) {
  return log.mediaErrors.Clamped();
}

constexpr Limit<nvme::HealthLog> kNvmeLimits[] = {
    {"Available spare", &NvmeSpare, Bound::kAtLeast, 10, " %",
     "most of what replaces worn out blocks is used, and some makers' own thresholds are lower"},
    {kUsed, &NvmeUsed, Bound::kBelow, 100, " %",
     "all the wear that the maker has promised it for is used"},
    {"Media and data integrity errors", &NvmeMediaErrors, Bound::kAtMost, 0, "",
     "each is data that was lost, or was not what had been written"},
};

template <auto kPage>
Value Uncorrected(const ScsiHealth& health) {
  const std::optional<scsi::ErrorCounters>& counters = health.*kPage;
  return counters ? counters->uncorrected : Value();
}
Value ScsiUsed(const ScsiHealth& health) {
  return health.usedPercent;
}

constexpr char kEachIsLost[] = "each is data that the drive could not make out";
constexpr Limit<ScsiHealth> kScsiLimits[] = {
    {"Read errors not corrected", &Uncorrected<&ScsiHealth::reads>, Bound::kAtMost, 0, "",
     kEachIsLost},
    {"Write errors not corrected", &Uncorrected<&ScsiHealth::writes>, Bound::kAtMost, 0, "",
     "each is data that the drive could not write"},
    {"Verify errors not corrected", &Uncorrected<&ScsiHealth::verifies>, Bound::kAtMost, 0, "",
     kEachIsLost},
    {kUsed, &ScsiUsed, Bound::kBelow, 100, " %",
     "all the wear that the maker has promised it for is used"},
};

}  // namespace

std::span<const Limit<AtaNumbers>> AtaLimits() {
  return kAtaLimits;
}
std::span<const Limit<nvme::HealthLog>> NvmeLimits() {
  return kNvmeLimits;
}
std::span<const Limit<ScsiHealth>> ScsiLimits() {
  return kScsiLimits;
}

}  // namespace orvan::storage
