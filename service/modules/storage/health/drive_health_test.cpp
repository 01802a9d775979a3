#include "service/modules/storage/health/drive_health.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/smart_test_support.h"

namespace orvan::storage {
namespace {

using Troubles = std::vector<DriveTrouble>;
using Names = std::vector<std::string>;

DriveHealth HealthOf(HealthBench& bench) {
  DriveLink link = bench.Link();
  return ReadHealth(link);
}

// What the drive was asked, and in which order: no more than what it takes.
TEST(DriveHealthTest, AnAtaDriveIsAskedForThreeThings) {
  AtaBench bench;
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(bench.Sent(), (Names{"EC", "B0/D0", "B0/D1"}));
  const auto& ata = std::get<AtaHealth>(health.told);
  EXPECT_EQ(ata.identity.model, "MODEL");
  ASSERT_EQ(ata.data.attributes.size(), 2U);
  EXPECT_EQ(ata.data.attributes[0].id, 5);
  ASSERT_TRUE(ata.thresholds);
  EXPECT_EQ(ata.thresholds->byId[5], 36);
  EXPECT_TRUE(health.troubles.empty());
}

TEST(DriveHealthTest, AnNvmeDriveIsAskedForOneLog) {
  NvmeBench bench;
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(bench.Sent(), Names{"NVMe 02/02"});
  EXPECT_EQ(std::get<NvmeHealth>(health.told).log.usedPercent, 103);
}

TEST(DriveHealthTest, AScsiDriveIsAskedForThePagesThatItHasAndThatTellOfHealth) {
  ScsiBench bench;
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(bench.Sent(), (Names{"4D/00", "4D/2F", "4D/0D", "4D/0E", "4D/03"}));
  const auto& scsi = std::get<ScsiHealth>(health.told);
  ASSERT_TRUE(scsi.exceptions && scsi.temperatures && scsi.starts && scsi.reads);
  EXPECT_EQ(scsi.temperatures->reference, 60);
  EXPECT_EQ(scsi.starts->starts, 171U);
  EXPECT_EQ(scsi.reads->uncorrected, 2U);
  EXPECT_FALSE(scsi.writes || scsi.verifies || scsi.nonMediumErrors || scsi.usedPercent);
}

TEST(DriveHealthTest, EachScsiPageIsAskedForWhereTheDriveHasIt) {
  ScsiBench bench;
  bench.Answer("4D/00", FromHex("00 00 00 09 00 02 03 05 06 0D 0E 11 2F"));
  bench.Answer("4D/02", FromHex("02 00 00 08 00 06 03 04 00 00 00 04"));
  bench.Answer("4D/05", FromHex("05 00 00 08 00 06 03 04 00 00 00 05"));
  bench.Answer("4D/06", FromHex("06 00 00 08 00 00 03 04 00 00 00 06"));
  bench.Answer("4D/11", FromHex("11 00 00 08 00 01 03 04 00 00 00 63"));
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(bench.Sent(), (Names{"4D/00", "4D/2F", "4D/0D", "4D/0E", "4D/03", "4D/02", "4D/05",
                                 "4D/06", "4D/11"}));
  EXPECT_TRUE(health.troubles.empty());
  const auto& scsi = std::get<ScsiHealth>(health.told);
  ASSERT_TRUE(scsi.writes && scsi.verifies);
  EXPECT_EQ(scsi.writes->uncorrected, 4U);
  EXPECT_EQ(scsi.verifies->uncorrected, 5U);
  EXPECT_EQ(scsi.nonMediumErrors, 6U);
  EXPECT_EQ(scsi.usedPercent, 99);
}

// Nothing is asked of a drive that says that it would not answer.
TEST(DriveHealthTest, ADriveWithoutSmartIsNotAskedForIt) {
  AtaBench bench;
  bench.Answer("EC", BytesOf(HealthyIdentity().PutWord(82, 0).PutWord(85, 0)));
  const DriveHealth health = HealthOf(bench);
  EXPECT_FALSE(health.IsTold());
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_EQ(health.reason, "the drive has no SMART");
  EXPECT_EQ(bench.Sent(), Names{"EC"});
}

TEST(DriveHealthTest, SmartThatIsOffStaysOff) {
  AtaBench bench;
  bench.Answer("EC", BytesOf(HealthyIdentity().PutWord(85, 0)));
  const DriveHealth health = HealthOf(bench);
  EXPECT_FALSE(health.IsTold());
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_EQ(health.reason, "SMART is switched off in the drive, and stays off");
  EXPECT_EQ(bench.Sent(), Names{"EC"});
}

TEST(DriveHealthTest, AScsiDriveWithoutSuchPagesTellsNothing) {
  ScsiBench bench;
  bench.Answer("4D/00", FromHex("00 00 00 02 00 10"));
  const DriveHealth health = HealthOf(bench);
  EXPECT_FALSE(health.IsTold());
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_EQ(health.reason, "the drive has no log page that tells of its health");
}

TEST(DriveHealthTest, AScsiDriveThatHasNoLogsSaysSo) {
  ScsiBench bench;
  bench.Answer("4D/00", Condition(0x05, 0x20, 0x00));
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_EQ(bench.Sent(), Names{"4D/00"});
}

// Attributes without thresholds, and pages that are left, are better than nothing.
TEST(DriveHealthTest, WhatADriveDoesNotTellIsATrouble) {
  AtaBench ata;
  RawBytes wrong = HealthyThresholds();
  wrong[100] ^= 1;
  ata.Answer("B0/D1", wrong);
  const DriveHealth health = HealthOf(ata);
  ASSERT_TRUE(health.IsTold());
  EXPECT_FALSE(std::get<AtaHealth>(health.told).thresholds);
  EXPECT_EQ(health.troubles, Troubles({{Kind::kGarbage,
                                        "SMART READ ATTRIBUTE THRESHOLDS: the checksum of the "
                                        "SMART thresholds is wrong"}}));

  ScsiBench scsi;
  scsi.Answer("4D/0D", FromHex("2F 00 00 08 00 00 03 04 00 00 24 00"));
  const DriveHealth pages = HealthOf(scsi);
  ASSERT_TRUE(pages.IsTold());
  EXPECT_FALSE(std::get<ScsiHealth>(pages.told).temperatures);
  EXPECT_TRUE(std::get<ScsiHealth>(pages.told).starts);
  EXPECT_EQ(
      pages.troubles,
      Troubles({{Kind::kGarbage, "page 0Dh: LOG SENSE: the page is 2Fh, 0Dh was asked for"}}));
}

TEST(DriveHealthTest, AScsiDriveWhosePagesAreAllGarbageTellsNothing) {
  ScsiBench bench;
  bench.Answer("4D/00", FromHex("00 00 00 02 00 0D"));
  bench.Answer("4D/0D", FromHex("2F 00 00 08 00 00 03 04 00 00 24 00"));
  const DriveHealth health = HealthOf(bench);
  EXPECT_FALSE(health.IsTold());
  EXPECT_EQ(health.kind, Kind::kGarbage);
  EXPECT_EQ(health.reason, "page 0Dh: LOG SENSE: the page is 2Fh, 0Dh was asked for");
}

// Each command in turn comes to an end that ends it all, or to garbage.
struct Trouble {
  const char* name;
  sdk::CommandAnswer answer;
  Kind kind;
  bool endsIt;
};
const Trouble kTroubles[] = {
    {"gone", OutcomeOf(Outcome::kGone), Kind::kGone, true},
    {"hangs", OutcomeOf(Outcome::kTimedOut), Kind::kTimedOut, true},
    {"no privilege", OutcomeOf(Outcome::kRefused, EPERM), Kind::kNoPrivilege, true},
    {"canceled", OutcomeOf(Outcome::kNotTried, ECANCELED), Kind::kCanceled, true},
    {"short", Good(RawBytes(3, 1)), Kind::kGarbage, false},
    {"nothing but ones", Good(RawBytes(512, 0xFF)), Kind::kGarbage, false},
};

template <typename Bench>
void EachCommandInTurn(std::size_t optionalFrom) {
  Bench sound;
  HealthOf(sound);
  const Names asked = sound.Sent();
  for (std::size_t i = 0; i < asked.size(); ++i) {
    for (const Trouble& trouble : kTroubles) {
      Bench bench;
      bench.Answer(asked[i], trouble.answer);
      const DriveHealth health = HealthOf(bench);
      const std::string where = asked[i] + ' ' + trouble.name;
      const bool isTold = i >= optionalFrom && !trouble.endsIt;
      EXPECT_EQ(health.IsTold(), isTold) << where;
      EXPECT_EQ(health.kind, isTold ? Kind::kDone : trouble.kind) << where;
      EXPECT_EQ(health.reason.empty(), isTold) << where;
      EXPECT_EQ(health.troubles.size(), isTold ? 1U : 0U) << where;
      if (trouble.endsIt) {
        EXPECT_EQ(bench.Sent().size(), i + 1) << where;
      }
    }
  }
}

TEST(DriveHealthTest, AnAtaDriveInTroubleIsNotTrusted) {
  EachCommandInTurn<AtaBench>(2);
}
TEST(DriveHealthTest, AnNvmeDriveInTroubleIsNotTrusted) {
  EachCommandInTurn<NvmeBench>(1);
}
TEST(DriveHealthTest, AScsiDriveInTroubleIsNotTrusted) {
  EachCommandInTurn<ScsiBench>(1);
}

TEST(DriveHealthTest, ABridgeThatIsNoAtaDriveSaysWhyNot) {
  ScsiBench bench;
  bench.facts.transport = Transport::kUsb;
  bench.Answer("EC", Condition(0x05, 0x20, 0x00));
  bench.Answer("4D/00", Condition(0x05, 0x20, 0x00));
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_NE(health.reason.find("LOG SENSE"), std::string::npos) << health.reason;
  EXPECT_NE(health.reason.find("; by commands of ATA it cannot be asked: IDENTIFY DEVICE"),
            std::string::npos)
      << health.reason;
}

TEST(DriveHealthTest, WhatAnswersNoCommandsSaysWhy) {
  HealthBench bench(Transport::kVirtio);
  const DriveHealth health = HealthOf(bench);
  EXPECT_EQ(health.kind, Kind::kNotSupported);
  EXPECT_EQ(health.reason, "the disk of a virtual machine answers no commands of a drive");
  EXPECT_TRUE(bench.Sent().empty());
}

}  // namespace
}  // namespace orvan::storage
