#include "service/modules/storage/health/findings.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "service/modules/storage/ata/attribute_names.h"
#include "service/modules/storage/health/measured.h"
#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage {
namespace {

bool IsSane(Bound bound, std::uint64_t value, std::uint64_t limit) {
  switch (bound) {
    case Bound::kBelow:
      return value < limit;
    case Bound::kAtLeast:
      return value >= limit;
    case Bound::kAtMost:
    case Bound::kSteady:
      break;
  }
  return value <= limit;
}

sdk::Limit::Kind KindOf(Bound bound) {
  using Kind = sdk::Limit::Kind;
  if (bound == Bound::kBelow) return Kind::kLessThan;
  return bound == Bound::kAtLeast ? Kind::kGreaterThanOrEqual : Kind::kLessThanOrEqual;
}

template <typename Told>
void Judge(const Limit<Told>& row, const Told& told, const Counters& before, Findings& findings) {
  const std::optional<std::uint64_t> value = row.value(told);
  if (!value) return;
  sdk::Measurement& measured = findings.measured.emplace_back();
  measured.name = MeasuredName(row.name);
  measured.value = static_cast<double>(*value);
  measured.unit = row.unit[0] == ' ' ? row.unit + 1 : row.unit;
  std::uint64_t limit = row.limit;
  const char* word = " (limit ";
  if (row.bound == Bound::kSteady) {
    findings.counters[measured.name] = *value;
    const auto found = before.find(measured.name);
    if (found == before.end()) return;
    limit = found->second;
    word = " (at the last run ";
  }
  measured.limits = {{KindOf(row.bound), static_cast<double>(limit)}};
  if (IsSane(row.bound, *value, limit)) return;
  findings.list.push_back({false,
                           std::string(row.name) + ": " + std::to_string(*value) + row.unit + word +
                               std::to_string(limit) + row.unit + ')',
                           row.reason});
}

template <typename Told>
void JudgeAll(std::span<const Limit<Told>> rows, const Told& told, const Counters& before,
              Findings& findings) {
  for (const Limit<Told>& row : rows) Judge(row, told, before, findings);
}

// Only attributes that tell of a near failure make a drive a faulty one, and only now: what fell to
// its threshold once, heat for instance, may be long over.
// Source: SFF-8035i, pre-failure and advisory attributes.
std::optional<Finding> FindingOf(const AtaHealth& health, const ata::Attribute& attribute) {
  using ata::AttributeState;
  const AttributeState state = StateOf(attribute, *health.thresholds);
  const bool isFailed = state == AttributeState::kFailed;
  const bool isOld = state == AttributeState::kFailedBefore && attribute.IsPreFailure();
  if (!isFailed && !isOld) return {};
  const ata::Identify& identity = health.identity;
  Finding finding;
  finding.isFailure = isFailed && attribute.IsPreFailure();
  finding.text =
      std::string(ata::MeaningOf(attribute.id, identity.model, identity.isRotating).name);
  finding.text += isFailed ? ": value " + std::to_string(attribute.value)
                           : ": once value " + std::to_string(attribute.worst);
  finding.text += " (threshold " + std::to_string(*health.thresholds->byId[attribute.id]) + ')';
  finding.reason = finding.isFailure ? "the drive expects to fail soon"
                   : isFailed ? "a limit that its maker has set for age, wear or use is passed"
                              : "the drive has expected to fail";
  return finding;
}

struct CriticalBit {
  std::uint8_t mask;
  const char* words;
};

// Source: NVM Express Base 2.0, 5.16.1.3, table "SMART / Health Information Log Page", byte 0.
constexpr CriticalBit kCriticalBits[] = {
    {nvme::kSpareIsLow, "the available spare has fallen below its threshold"},
    {nvme::kTemperatureIsOutOfRange, "the temperature is over or under its threshold"},
    {nvme::kReliabilityIsDegraded, "its reliability is degraded by errors"},
    {nvme::kMediaAreReadOnly, "the media can only be read"},
    {nvme::kVolatileBackupFailed, "the backup of its volatile memory has failed"},
    {nvme::kPersistentMemoryFailed, "its persistent memory region has become unreliable"},
};

// Of `warnings` those that are among `named` have words.
void AddWarnings(const char* what, std::uint8_t warnings, std::uint8_t named, Findings& findings) {
  constexpr char kReason[] = "the drive says so in its health log";
  for (const CriticalBit& bit : kCriticalBits) {
    if ((warnings & named & bit.mask) == 0) continue;
    findings.list.push_back({true, std::string(what) + ": " + bit.words, kReason});
    warnings = static_cast<std::uint8_t>(warnings & ~bit.mask);
  }
  if (warnings == 0) return;
  findings.list.push_back(
      {false, std::string(what) + " without a name here: " + HexByte(warnings), kReason});
}

// Source: the same table, byte 6: the same of any endurance group, in fewer bits.
void AddCriticalWarnings(const nvme::HealthLog& log, Findings& findings) {
  constexpr std::uint8_t kOfGroups =
      nvme::kSpareIsLow | nvme::kReliabilityIsDegraded | nvme::kMediaAreReadOnly;
  AddWarnings("Critical warning", log.criticalWarning, 0xFF, findings);
  const auto ofGroups = static_cast<std::uint8_t>(log.enduranceGroupWarning & ~log.criticalWarning);
  AddWarnings("Warning of an endurance group", ofGroups, kOfGroups, findings);
}

// Source: SPC-5, annex "Numeric order codes": 5Dh is a failure that is predicted, with FFh a trial
// of that.
void AddException(const scsi::InformationalExceptions& pending, Findings& findings) {
  constexpr std::uint8_t kFailurePredicted = 0x5D;
  constexpr std::uint8_t kTrial = 0xFF;
  if (pending.code == 0) return;
  const bool isFailure = pending.code == kFailurePredicted && pending.qualifier != kTrial;
  findings.list.push_back(
      {isFailure,
       std::string("Pending exception: ") + scsi::SenseCodeWords(pending.code, pending.qualifier) +
           " (" + HexByte(pending.code) + '/' + HexByte(pending.qualifier) + ')',
       isFailure ? "the drive expects to fail soon" : "the drive has something to say"});
}

void PutFailuresFirst(Findings& findings) {
  std::stable_partition(findings.list.begin(), findings.list.end(),
                        [](const Finding& finding) { return finding.isFailure; });
}

}  // namespace

Findings FindingsOf(const AtaNumbers& told, bool hasExceeded, const Counters& before) {
  Findings findings;
  if (hasExceeded) {
    findings.list.push_back(
        {true, "SMART RETURN STATUS: a threshold is exceeded", "the drive expects to fail soon"});
  }
  if (told.health->thresholds) {
    for (const ata::Attribute& attribute : told.health->data.attributes) {
      if (auto finding = FindingOf(*told.health, attribute)) {
        findings.list.push_back(*std::move(finding));
      }
    }
  }
  JudgeAll(AtaLimits(), told, before, findings);
  PutFailuresFirst(findings);
  return findings;
}

Findings FindingsOf(const nvme::HealthLog& log) {
  Findings findings;
  AddCriticalWarnings(log, findings);
  JudgeAll(NvmeLimits(), log, {}, findings);
  // Without the bit that the standard has for that, the drive contradicts itself.
  const bool isBelow = log.sparePercent < log.spareThresholdPercent;
  if (log.sparePercent && isBelow && (log.criticalWarning & nvme::kSpareIsLow) == 0) {
    findings.list.push_back(
        {false,
         "Available spare: " + std::to_string(*log.sparePercent) + " % (threshold " +
             std::to_string(*log.spareThresholdPercent) + " %)",
         "the maker's own threshold is passed, and the drive gives no warning"});
  }
  PutFailuresFirst(findings);
  return findings;
}

Findings FindingsOf(const ScsiHealth& health) {
  Findings findings;
  if (health.exceptions) AddException(*health.exceptions, findings);
  JudgeAll(ScsiLimits(), health, {}, findings);
  return findings;
}

}  // namespace orvan::storage
