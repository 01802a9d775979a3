#include "service/modules/storage/health/findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "service/modules/storage/hex_test_support.h"
#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage {
namespace {

using Texts = std::vector<std::string>;

Texts TextsOf(const Findings& findings) {
  Texts texts;
  for (const Finding& finding : findings.list) {
    texts.push_back((finding.isFailure ? "FAILED " : "") + finding.text);
    EXPECT_FALSE(finding.reason.empty()) << finding.text;
  }
  return texts;
}

AtaHealth HealthWith(std::uint8_t id, std::uint64_t raw, std::uint8_t value = 100,
                     std::uint8_t worst = 100, std::uint16_t flags = 0x33) {
  AtaHealth health;
  health.identity.model = "MODEL";
  health.identity.isRotating = true;
  ata::Attribute attribute{id, flags, value, worst};
  for (std::size_t i = 0; i < attribute.raw.size(); ++i) {
    attribute.raw[i] = static_cast<std::uint8_t>(raw >> (8 * i));
  }
  health.data.attributes.push_back(attribute);
  return health;
}

Findings Of(const AtaHealth& health, std::vector<ata::Statistic> statistics = {},
            const Counters& before = {}) {
  return FindingsOf(AtaNumbers{&health, std::move(statistics)}, false, before);
}

ata::Statistic StatisticWith(ata::StatisticPlace place, std::optional<std::int64_t> value) {
  return {place, "", value};
}

TEST(AtaFindings, NameAttributeValueAndLimit) {
  for (const auto& [id, text] : {std::pair{5, "Reallocated sectors: 3 (limit 0)"},
                                 {197, "Pending sectors: 3 (limit 0)"},
                                 {198, "Offline uncorrectable sectors: 3 (limit 0)"},
                                 {187, "Reported uncorrectable errors: 3 (limit 0)"},
                                 {184, "End-to-end errors: 3 (limit 0)"}}) {
    const auto number = static_cast<std::uint8_t>(id);
    EXPECT_EQ(TextsOf(Of(HealthWith(number, 3))), Texts{text});
    EXPECT_EQ(TextsOf(Of(HealthWith(number, 0))), Texts());
  }
  // Of no concern, whatever they count.
  for (const int id : {1, 3, 4, 7, 9, 12, 190, 193, 194}) {
    EXPECT_EQ(TextsOf(Of(HealthWith(static_cast<std::uint8_t>(id), 70000))), Texts()) << id;
  }
}

TEST(AtaFindings, TakeAnAttributeForWhatTheMakerSaysItIs) {
  AtaHealth micron = HealthWith(184, 3);
  micron.identity.model = "Micron_5100_MTFDDAK480TCC";
  micron.identity.isRotating = false;
  EXPECT_EQ(TextsOf(Of(micron)), Texts());
}

TEST(AtaFindings, LeaveWornOutBlocksOfSolidStateDrivesToTheirThresholds) {
  AtaHealth health = HealthWith(5, 3);
  health.identity.isRotating = false;
  EXPECT_EQ(TextsOf(Of(health)), Texts());
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kReallocatedSectors, 3)})), Texts());
  health.identity.isRotating = std::nullopt;
  EXPECT_EQ(TextsOf(Of(health)), Texts{"Reallocated sectors: 3 (limit 0)"});
}

TEST(AtaFindings, PutAStatisticBeforeAnAttribute) {
  const AtaHealth health = HealthWith(197, 3);
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kPendingErrors, 0)})), Texts());
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kPendingErrors, 9)})),
            Texts{"Pending sectors: 9 (limit 0)"});
  // One that says nothing, or on its maker's own scale.
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kPendingErrors, std::nullopt)})),
            Texts{"Pending sectors: 3 (limit 0)"});
  ata::Statistic scaled = StatisticWith(ata::kPendingErrors, 9);
  scaled.isNormalized = true;
  EXPECT_EQ(TextsOf(Of(health, {scaled})), Texts{"Pending sectors: 3 (limit 0)"});
}

TEST(AtaFindings, HoldWearAgainstWhatWasPromised) {
  const AtaHealth health = HealthWith(9, 1);
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kPercentageUsed, 99)})), Texts());
  EXPECT_EQ(TextsOf(Of(health, {StatisticWith(ata::kPercentageUsed, 100)})),
            Texts{"Percentage used: 100 % (limit 100 %)"});
}

TEST(AtaFindings, WarnOfInterfaceErrorsOnlyWhenThereAreMoreThanAtTheLastRun) {
  const AtaHealth health = HealthWith(199, 70);
  const Findings first = Of(health);
  EXPECT_EQ(TextsOf(first), Texts());
  EXPECT_EQ(first.counters, (Counters{{"interface-crc-errors", 70}}));
  EXPECT_EQ(TextsOf(Of(health, {}, {{"interface-crc-errors", 70}})), Texts());
  EXPECT_EQ(TextsOf(Of(health, {}, {{"interface-crc-errors", 71}})), Texts());
  EXPECT_EQ(TextsOf(Of(health, {}, {{"interface-crc-errors", 69}})),
            Texts{"Interface CRC errors: 70 (at the last run 69)"});
}

TEST(AtaFindings, FailADriveOnlyForWhatTellsOfANearFailureNow) {
  const auto state = [](std::uint8_t value, std::uint8_t worst, std::uint16_t flags) {
    AtaHealth health = HealthWith(3, 0, value, worst, flags);
    health.thresholds.emplace();
    health.thresholds->byId[3] = 21;
    return TextsOf(Of(health));
  };
  EXPECT_EQ(state(22, 22, 0x33), Texts());
  EXPECT_EQ(state(21, 21, 0x33), Texts{"FAILED Spin-up time: value 21 (threshold 21)"});
  EXPECT_EQ(state(21, 21, 0x32), Texts{"Spin-up time: value 21 (threshold 21)"});
  EXPECT_EQ(state(22, 21, 0x33), Texts{"Spin-up time: once value 21 (threshold 21)"});
  EXPECT_EQ(state(22, 21, 0x32), Texts());
}

TEST(AtaFindings, AreNoneOfTheEmulatorsDrives) {
  AtaHealth health;
  health.data = *ata::DecodeSmartData(FromHexFile("ata/emulator_smart_data.hex")).value;
  health.thresholds = ata::DecodeThresholds(FromHexFile("ata/emulator_thresholds.hex")).value;
  EXPECT_EQ(TextsOf(Of(health)), Texts());
  EXPECT_FALSE(health.data.attributes.empty());
  nvme::HealthLog log = *nvme::DecodeHealthLog(FromHexFile("nvme/lab_health_log.hex")).value;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            Texts{"FAILED Critical warning: its reliability is degraded by errors"});
  log.criticalWarning = 0;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts());
}

TEST(AtaFindings, PutFailuresFirst) {
  AtaHealth health = HealthWith(197, 3);
  health.thresholds.emplace();
  ata::Attribute failing{3, 0x33, 10, 10};
  health.data.attributes.push_back(failing);
  health.thresholds->byId[3] = 21;
  EXPECT_EQ(
      TextsOf(FindingsOf(AtaNumbers{&health}, true, {})),
      (Texts{"FAILED SMART RETURN STATUS: a threshold is exceeded",
             "FAILED Spin-up time: value 10 (threshold 21)", "Pending sectors: 3 (limit 0)"}));
}

TEST(AtaFindings, MeasureEachNumberWithItsLimit) {
  const Findings findings = Of(HealthWith(197, 3));
  ASSERT_EQ(findings.measured.size(), 1U);
  EXPECT_EQ(findings.measured[0].name, "pending-sectors");
  EXPECT_EQ(findings.measured[0].value, 3);
  ASSERT_EQ(findings.measured[0].limits.size(), 1U);
  EXPECT_EQ(findings.measured[0].limits[0].kind, sdk::Limit::Kind::kLessThanOrEqual);
  EXPECT_EQ(findings.measured[0].limits[0].value, 0);
}

TEST(AtaFindings, FailuresComeFirst) {
  AtaHealth health = HealthWith(197, 3);
  health.data.attributes = {{4, 0x32, 10, 10}, {3, 0x33, 10, 10}};
  health.thresholds.emplace().byId[4] = 20;
  health.thresholds->byId[3] = 21;
  const Texts texts = TextsOf(FindingsOf(AtaNumbers{&health}, false, {}));
  ASSERT_EQ(texts.size(), 2U);
  EXPECT_EQ(texts[0], "FAILED Spin-up time: value 10 (threshold 21)");
}

nvme::HealthLog SoundLog() {
  nvme::HealthLog log;
  log.sparePercent = 100;
  log.spareThresholdPercent = 10;
  return log;
}

TEST(NvmeFindings, SayEachCriticalWarning) {
  EXPECT_EQ(TextsOf(FindingsOf(SoundLog())), Texts());
  const char* const words[] = {"the available spare has fallen below its threshold",
                               "the temperature is over or under its threshold",
                               "its reliability is degraded by errors",
                               "the media can only be read",
                               "the backup of its volatile memory has failed",
                               "its persistent memory region has become unreliable"};
  for (std::size_t bit = 0; bit < std::size(words); ++bit) {
    nvme::HealthLog log = SoundLog();
    log.criticalWarning = static_cast<std::uint8_t>(1U << bit);
    EXPECT_EQ(TextsOf(FindingsOf(log)),
              Texts{"FAILED Critical warning: " + std::string(words[bit])});
  }
  nvme::HealthLog log = SoundLog();
  log.criticalWarning = 0x84;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            (Texts{"FAILED Critical warning: its reliability is degraded by errors",
                   "Critical warning without a name here: 80h"}));
}

// Of a drive with several groups the warning of one need not be that of the whole.
TEST(NvmeFindings, FailADriveForTheWarningOfAnEnduranceGroup) {
  nvme::HealthLog log = SoundLog();
  log.enduranceGroupWarning = 0x0D;
  log.criticalWarning = nvme::kMediaAreReadOnly;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            (Texts{"FAILED Critical warning: the media can only be read",
                   "FAILED Warning of an endurance group: the available spare has fallen below its "
                   "threshold",
                   "FAILED Warning of an endurance group: its reliability is degraded by errors"}));
  log.criticalWarning = 0;
  log.enduranceGroupWarning = 0x12;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            Texts{"Warning of an endurance group without a name here: 12h"});
}

TEST(NvmeFindings, FailuresComeFirst) {
  nvme::HealthLog log = SoundLog();
  log.criticalWarning = 0x80;
  log.enduranceGroupWarning = nvme::kMediaAreReadOnly;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            (Texts{"FAILED Warning of an endurance group: the media can only be read",
                   "Critical warning without a name here: 80h"}));
}

TEST(NvmeFindings, MeasureInTheUnitOfTheirNumbers) {
  nvme::HealthLog log = SoundLog();
  log.usedPercent = 7;
  const Findings findings = FindingsOf(log);
  const auto unitOf = [&findings](const std::string& name) {
    for (const sdk::Measurement& one : findings.measured) {
      if (one.name == name) return one.unit;
    }
    return std::string("none is measured");
  };
  EXPECT_EQ(unitOf("percentage-used"), "%");
  EXPECT_EQ(unitOf("available-spare"), "%");
  EXPECT_EQ(unitOf("media-and-data-integrity-errors"), "");
}

TEST(NvmeFindings, HoldNumbersAgainstTheirLimits) {
  nvme::HealthLog log = SoundLog();
  log.sparePercent = 10;
  log.usedPercent = 99;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts());
  log.spareThresholdPercent = 5;
  log.sparePercent = 9;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts{"Available spare: 9 % (limit 10 %)"});
  log = SoundLog();
  log.usedPercent = 100;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts{"Percentage used: 100 % (limit 100 %)"});
  log = SoundLog();
  log.mediaErrors = {0, 4};
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts{"Media and data integrity errors: 4 (limit 0)"});
}

TEST(NvmeFindings, TakeASpareOfNothingWithoutAThresholdForOneThatIsNotCounted) {
  nvme::HealthLog log = SoundLog();
  log.sparePercent = 0;
  log.spareThresholdPercent = 0;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts());
  log.sparePercent = 1;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts{"Available spare: 1 % (limit 10 %)"});
  log.sparePercent = std::nullopt;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts());
}

TEST(NvmeFindings, WarnOfASpareBelowItsThresholdOfWhichTheDriveSaysNothing) {
  nvme::HealthLog log = SoundLog();
  log.sparePercent = 40;
  log.spareThresholdPercent = 50;
  EXPECT_EQ(TextsOf(FindingsOf(log)), Texts{"Available spare: 40 % (threshold 50 %)"});
  log.criticalWarning = nvme::kSpareIsLow;
  EXPECT_EQ(TextsOf(FindingsOf(log)),
            Texts{"FAILED Critical warning: the available spare has fallen below its threshold"});
}

TEST(ScsiFindings, FailADriveThatPredictsItsFailure) {
  ScsiHealth health;
  health.exceptions.emplace();
  EXPECT_EQ(TextsOf(FindingsOf(health)), Texts());
  health.exceptions->code = 0x5D;
  EXPECT_EQ(TextsOf(FindingsOf(health)),
            Texts{"FAILED Pending exception: failure prediction threshold exceeded (5Dh/00h)"});
  health.exceptions->qualifier = 0xFF;
  EXPECT_EQ(TextsOf(FindingsOf(health)),
            Texts{"Pending exception: failure prediction threshold exceeded, as a trial "
                  "(5Dh/FFh)"});
  health.exceptions->code = 0x0B;
  health.exceptions->qualifier = 0x01;
  EXPECT_EQ(TextsOf(FindingsOf(health)),
            Texts{"Pending exception: " + scsi::SenseCodeWords(0x0B, 0x01) + " (0Bh/01h)"});
}

TEST(ScsiFindings, WarnOfWhatCouldNotBeCorrectedAndOfWear) {
  ScsiHealth health;
  health.reads.emplace().uncorrected = 2;
  health.writes.emplace().uncorrected = 3;
  health.verifies.emplace().uncorrected = 4;
  health.usedPercent = 101;
  EXPECT_EQ(
      TextsOf(FindingsOf(health)),
      (Texts{"Read errors not corrected: 2 (limit 0)", "Write errors not corrected: 3 (limit 0)",
             "Verify errors not corrected: 4 (limit 0)", "Percentage used: 101 % (limit 100 %)"}));
  health.reads->uncorrected = std::nullopt;
  health.writes->uncorrected = 0;
  health.verifies.reset();
  health.usedPercent = 99;
  EXPECT_EQ(TextsOf(FindingsOf(health)), Texts());
}

TEST(Limits, EachHasAReasonAndAName) {
  std::set<std::string> names;
  const auto check = [&names](const auto& rows) {
    for (const auto& row : rows) {
      names.insert(row.name);
      EXPECT_FALSE(std::string(row.reason).empty()) << row.name;
    }
  };
  check(AtaLimits());
  check(NvmeLimits());
  check(ScsiLimits());
  EXPECT_EQ(names.size(), 12U);
}

}  // namespace
}  // namespace orvan::storage
