#include "service/modules/storage/health/logged_errors.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "service/modules/storage/error_test_support.h"

namespace orvan::storage {
namespace {

using Names = std::vector<std::string>;

LoggedErrors Read(DriveBench& bench) {
  DriveLink link = bench.Link();
  return ReadLoggedErrors(link);
}

// "!" before what is a fault of the drive.
Names TextsOf(const ErrorSource& source) {
  Names texts;
  for (const LoggedError& error : source.entries) {
    texts.push_back((error.isHarmless ? "" : "!") + error.text);
  }
  return texts;
}

TEST(LoggedErrors, OfAnAtaDriveAreThoseOfItsSummary) {
  LoggingAta bench;
  bench.Log({kUnreadable, kRefused}, 7);
  const LoggedErrors errors = Read(bench);
  ASSERT_EQ(errors.sources.size(), 1U);
  EXPECT_EQ(errors.sources[0].count, 7U);
  EXPECT_FALSE(errors.sources[0].isCountFull);
  EXPECT_EQ(TextsOf(errors.sources[0]),
            (Names{"command aborted (ABRT), SMART, at power-on hour 301",
                   "!uncorrectable data (UNC) at LBA 4096, READ DMA, at power-on hour 300"}));
  EXPECT_NE(errors.sources[0].entries[0].id, errors.sources[0].entries[1].id);
  EXPECT_EQ(bench.Sent(), (Names{"EC", "B0/D5"}));
  EXPECT_TRUE(errors.troubles.empty());
}

TEST(LoggedErrors, AreNoFaultOfTheDriveWhenItOnlyRefusedACommand) {
  LoggingAta bench;
  bench.Log({{0xC8, 0x05, 300}, {0xC8, 0x14, 301}, {0xC8, 0x84, 302}, {0xC8, 0x04, 303}}, 4);
  EXPECT_EQ(TextsOf(Read(bench).sources.at(0)),
            (Names{"command aborted (ABRT), READ DMA, at power-on hour 303",
                   "!checksum of a transfer (ICRC), command aborted (ABRT), READ DMA, at power-on "
                   "hour 302",
                   "!sector not found (IDNF), command aborted (ABRT) at LBA 4096, READ DMA, at "
                   "power-on hour 301",
                   "!command aborted (ABRT), address mark not found (AMNF) at LBA 4096, READ DMA, "
                   "at power-on hour 300"}));
}

TEST(LoggedErrors, MayBeToldInSmartDataAlone) {
  LoggingAta bench;
  ata::Pages identity = HealthyIdentity();
  bench.Answer("EC", BytesOf(identity.PutWord(84, 0x4000).PutWord(87, 0x4000)));
  EXPECT_EQ(Read(bench).trouble,
            (DriveTrouble{Kind::kNotSupported, "the drive keeps no error log"}));
  ata::Pages data;
  bench.Answer("B0/D0", BytesOf(data.Put(0, {0x10, 0}).Put(370, {1}).Seal()));
  EXPECT_EQ(Read(bench).sources.size(), 1U);
}

TEST(LoggedErrors, OfAnAtaDriveWithLogsAreThoseOfItsExtendedOne) {
  LoggingAta bench;
  bench.HasExtendedLog(2);
  const LoggedErrors errors = Read(bench);
  ASSERT_EQ(errors.sources.size(), 1U);
  EXPECT_EQ(TextsOf(errors.sources[0]),
            Names{"!uncorrectable data (UNC) at LBA 8589934592, READ DMA EXT, at power-on hour "
                  "300"});
  EXPECT_EQ(bench.Sent(), (Names{"EC", "2F", "2F"}));
  EXPECT_EQ(bench.machine.sent.back().bytesIn, 1024U);
}

TEST(LoggedErrors, NameSectorsThatAreOnTheDisk) {
  LoggingAta bench;
  bench.HasExtendedLog(1);
  ata::Pages identity = HealthyIdentity();
  identity.PutWord(84, 0x4023).PutWord(87, 0x4023).PutWord(60, 0).PutWord(61, 0x0400);
  bench.Answer("EC", BytesOf(identity));
  EXPECT_EQ(TextsOf(Read(bench).sources.at(0)),
            Names{"!uncorrectable data (UNC) at LBA 33554432, READ DMA EXT, at power-on hour 300"});
}

TEST(LoggedErrors, OfALogThatCannotBeReadInOnePieceTheSummaryIsRead) {
  for (const auto& [pages, last] : {std::pair{2048, "2F"}, std::pair{2049, "B0/D5"}}) {
    LoggingAta bench;
    bench.HasExtendedLog(static_cast<std::uint16_t>(pages));
    const LoggedErrors errors = Read(bench);
    EXPECT_EQ(errors.sources.size(), 1U);
    EXPECT_TRUE(errors.troubles.empty());
    EXPECT_EQ(bench.Sent().back(), last) << pages;
  }
}

TEST(LoggedErrors, OfADriveWithoutSmartAreNotAskedFor) {
  LoggingAta bench;
  ata::Pages identity = HealthyIdentity();
  bench.Answer("EC", BytesOf(identity.PutWord(82, 0).PutWord(85, 0)));
  EXPECT_EQ(Read(bench).trouble.kind, Kind::kNotSupported);
  EXPECT_EQ(bench.Sent(), Names{"EC"});
  bench.Answer("EC", RawBytes(512, 0));
  EXPECT_EQ(Read(bench).trouble.kind, Kind::kGarbage);
}

TEST(LoggedErrors, FallBackToTheSummary) {
  LoggingAta none;
  none.HasExtendedLog(0);
  EXPECT_EQ(Read(none).sources.size(), 1U);
  EXPECT_EQ(none.Sent(), (Names{"EC", "2F", "B0/D5"}));

  LoggingAta damaged;
  damaged.HasExtendedLog(1);
  damaged.extended[100] ^= 1;
  const LoggedErrors errors = Read(damaged);
  EXPECT_EQ(errors.sources.size(), 1U);
  ASSERT_EQ(errors.troubles.size(), 1U);
  EXPECT_EQ(errors.troubles[0].kind, Kind::kGarbage);
}

TEST(LoggedErrors, CountUpToWhereAnAtaDriveCounts) {
  LoggingAta bench;
  bench.Log({kUnreadable}, 65535);
  EXPECT_TRUE(Read(bench).sources.at(0).isCountFull);
}

TEST(LoggedErrors, OfNvmeAreAllThatTheControllerKeeps) {
  LoggingNvme bench;
  const LoggedErrors errors = Read(bench);
  ASSERT_EQ(errors.sources.size(), 1U);
  EXPECT_EQ(errors.sources[0].count, 42U);
  EXPECT_EQ(TextsOf(errors.sources[0]),
            (Names{"!unrecovered read error (281h) at LBA 5000000000, namespace 1",
                   "invalid field in the command (002h)"}));
  EXPECT_EQ(bench.Sent(), (Names{"NVMe 06/01", "NVMe 02/01"}));
  EXPECT_EQ(bench.machine.sent.back().bytesIn, 64U * 64U);
}

TEST(LoggedErrors, OfAnNvmeControllerWithoutAnyAreNone) {
  LoggingNvme bench;
  bench.Answer("NVMe 02/01", RawBytes(64 * 64, 0));
  const LoggedErrors errors = Read(bench);
  ASSERT_EQ(errors.sources.size(), 1U);
  EXPECT_EQ(errors.sources[0].count, 0U);
  EXPECT_TRUE(errors.sources[0].entries.empty());
}

TEST(LoggedErrors, OfNvmeThatAreOfTheHostsMakingAreNoFaults) {
  const auto isFault = [](unsigned status) {
    LoggingNvme bench;
    RawBytes log(64 * 64, 0);
    log[0] = 1;
    log[12] = static_cast<std::uint8_t>(status << 1);
    log[13] = static_cast<std::uint8_t>(status >> 7);
    bench.Answer("NVMe 02/01", log);
    return !Read(bench).sources.at(0).entries.at(0).isHarmless;
  };
  for (const unsigned fault :
       {0x004U, 0x006U, 0x01CU, 0x022U, 0x280U, 0x281U, 0x282U, 0x300U, 0x7C1U}) {
    EXPECT_TRUE(isFault(fault)) << fault;
  }
  for (const unsigned harmless :
       {0x001U, 0x002U, 0x00BU, 0x007U, 0x080U, 0x109U, 0x10AU, 0x285U, 0x286U, 0x287U, 0x4002U}) {
    EXPECT_FALSE(isFault(harmless)) << harmless;
  }
}

TEST(LoggedErrors, OfScsiAreCountsAndWhatTheScanHasMet) {
  LoggingScsi bench;
  const LoggedErrors errors = Read(bench);
  ASSERT_EQ(errors.sources.size(), 2U);
  EXPECT_EQ(errors.sources[0].name, "of reads that the drive could not correct");
  EXPECT_EQ(errors.sources[0].count, 2U);
  EXPECT_TRUE(errors.sources[0].entries.empty());
  EXPECT_EQ(errors.sources[1].count, 2U);
  // The one of the greater age is the newer one, wherever it stands.
  EXPECT_EQ(TextsOf(errors.sources[1]),
            (Names{"!unrecovered read error at LBA 5000000000, to be reassigned by a write or a "
                   "command, at power-on hour 45948",
                   "!data recovered with retries at LBA 923798553, rewritten in place, at power-on "
                   "hour 45684"}));
  EXPECT_EQ(bench.Sent(), (Names{"4D/00", "4D/03", "4D/15"}));
}

// Blocks that the drive met in one minute, in its order: one that it could read after all, one
// while it was not ready, and one that is lost.
TEST(LoggedErrors, OfTheScanThatTheDriveHelpedItselfWithAreNoFaults) {
  LoggingScsi bench;
  bench.Answer("4D/15", FromHex("15 00 00 58 00 00 03 0C 00 00 00 60 00 08 00 01 00 00 00 01 "
                                "00 01 03 14 00 00 00 60 51 17 01 00*5 00*7 11 "
                                "00 02 03 14 00 00 00 60 12 04 00 00*5 00*7 12 "
                                "00 03 03 14 00 00 00 60 13 11 00 00*5 00*7 13"));
  const ErrorSource source = Read(bench).sources.at(1);
  ASSERT_EQ(source.entries.size(), 3U);
  EXPECT_TRUE(source.entries[0].isHarmless);
  EXPECT_NE(source.entries[0].text.find("at LBA 17,"), std::string::npos) << source.entries[0].text;
  EXPECT_FALSE(source.entries[1].isHarmless);
  EXPECT_FALSE(source.entries[2].isHarmless);
  EXPECT_NE(source.entries[2].text.find("at LBA 19,"), std::string::npos) << source.entries[2].text;
  const std::set<std::uint64_t> ids = {0, source.entries[0].id, source.entries[1].id,
                                       source.entries[2].id};
  EXPECT_EQ(ids.size(), 4U);
}

TEST(LoggedErrors, AreNoneOfADriveThatHasNoLog) {
  LoggingScsi bench;
  bench.Answer("4D/00", FromHex("00 00 00 01 0D"));
  EXPECT_EQ(Read(bench).trouble,
            (DriveTrouble{Kind::kNotSupported, "the drive has no log page that tells of errors"}));
  HealthBench disk(Transport::kVirtio);
  EXPECT_EQ(Read(disk).trouble.kind, Kind::kNotSupported);
  EXPECT_NE(Read(disk).trouble.text, "");
}

ErrorSource SourceOf(std::uint64_t count, std::initializer_list<std::uint64_t> ids,
                     bool isFull = false) {
  ErrorSource source{"log", "in the log", count, isFull};
  for (const std::uint64_t id : ids) source.entries.push_back({id, "", false});
  return source;
}

void Expect(const NewErrors& found, std::uint64_t count, std::size_t entries, bool isAtLeast,
            bool wasCleared) {
  EXPECT_EQ(found.count, count);
  EXPECT_EQ(found.entries, entries);
  EXPECT_EQ(found.isAtLeast, isAtLeast);
  EXPECT_EQ(found.wasCleared, wasCleared);
}

TEST(NewErrors, AreThoseThatTheDriveHasCountedSince) {
  Expect(NewSince(SourceOf(3, {33, 32, 31}), 3, 33), 0, 0, false, false);
  Expect(NewSince(SourceOf(3, {33, 32, 31}), 1, 31), 2, 2, false, false);
  Expect(NewSince(SourceOf(90, {33, 32, 31}), 1, 9), 89, 3, false, false);
  Expect(NewSince(SourceOf(0, {}), 0, 0), 0, 0, false, false);
  Expect(NewSince(SourceOf(4, {}), 1, 0), 3, 0, false, false);
}

TEST(NewErrors, AreAllOfThemWhenThereWereMoreOrOthers) {
  Expect(NewSince(SourceOf(2, {33, 32}), 3, 31), 2, 2, false, true);
  Expect(NewSince(SourceOf(2, {33, 32}), 2, 31), 2, 2, false, true);
  Expect(NewSince(SourceOf(0, {}), 3, 31), 0, 0, false, true);
}

TEST(NewErrors, AreToldByTheirPlaceWhereTheDriveCountsNoFurther) {
  Expect(NewSince(SourceOf(65535, {33, 32, 31}, true), 65535, 33), 0, 0, false, false);
  Expect(NewSince(SourceOf(65535, {33, 32, 31}, true), 65535, 31), 2, 2, false, false);
  Expect(NewSince(SourceOf(65535, {33, 32, 31}, true), 65535, 9), 3, 3, true, false);
  Expect(NewSince(SourceOf(65535, {33, 32, 31}, true), 65530, 9), 5, 3, true, false);
}

TEST(NewErrors, OfAFirstLookAreAllThatThereAre) {
  Expect(NewOf(SourceOf(9, {33, 32})), 9, 2, false, false);
  // A count that contradicts its entries.
  Expect(NewOf(SourceOf(1, {33, 32})), 2, 2, false, false);
  Expect(NewOf(SourceOf(65535, {33}, true)), 65535, 1, true, false);
}

}  // namespace
}  // namespace orvan::storage
