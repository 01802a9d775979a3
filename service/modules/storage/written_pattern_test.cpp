#include "service/modules/storage/written_pattern.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace orvan::storage {
namespace {

using Sector = std::vector<std::byte>;

constexpr SectorName kName{0x1122334455667788, 2, 0x0102030405};

Sector Of(const SectorName& name, std::size_t bytes = 512) {
  Sector sector(bytes);
  FillSectors(name, bytes, sector);
  return sector;
}

SectorFinding Judged(const Sector& found, const SectorName& name = kName) {
  return JudgeSector(name, Of(name, found.size()), found);
}

std::string TextOf(const Sector& sector, std::size_t at, std::size_t size) {
  return {reinterpret_cast<const char*>(sector.data()) + at, size};
}

TEST(WrittenPattern, ASectorNamesItsRunItsPassItsSizeAndItsAddress) {
  const Sector sector = Of(kName);
  EXPECT_EQ(TextOf(sector, 0, 8), "TVXWRITE");
  EXPECT_EQ(TextOf(sector, 8, 8), "\x88\x77\x66\x55\x44\x33\x22\x11");
  EXPECT_EQ(TextOf(sector, 16, 8), std::string("\0\2\0\0\2\0\0\0", 8));
  EXPECT_EQ(TextOf(sector, 24, 8), std::string("\5\4\3\2\1\0\0\0", 8));
  for (const std::size_t bytes : {std::size_t{512}, std::size_t{520}, std::size_t{4096}}) {
    for (const std::uint32_t pass : {0U, 1U, 2U, 3U, 7U}) {
      const SectorName name{kName.run, pass, kName.lba};
      EXPECT_EQ(NameIn(Of(name, bytes)), name);
    }
  }
}

TEST(WrittenPattern, AnOddPassTurnsEveryBitOfThePassBefore) {
  const Sector even = Of({9, 4, 77});
  const Sector odd = Of({9, 5, 77});
  for (std::size_t i = 0; i < even.size(); ++i) EXPECT_EQ(odd[i], ~even[i]) << i;
}

TEST(WrittenPattern, SectorsAreFilledOneAddressAfterTheOther) {
  Sector three(3 * 512);
  FillSectors({1, 0, 40}, 512, three);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto at = three.begin() + static_cast<std::ptrdiff_t>(i * 512);
    EXPECT_EQ(Sector(at, at + 512), Of({1, 0, 40 + i}));
  }
}

TEST(WrittenPattern, NoTwoSectorsAreAlikeInAnyPart) {
  std::set<std::string> parts;
  std::size_t count = 0;
  for (const std::uint64_t run : {1U, 2U}) {
    for (const std::uint32_t pass : {0U, 1U, 2U}) {
      for (const std::uint64_t lba : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 40}) {
        const Sector sector = Of({run, pass, lba});
        for (std::size_t at = kSectorHeadBytes; at < 512; at += 8, ++count) {
          parts.insert(TextOf(sector, at, 8));
        }
      }
    }
  }
  EXPECT_EQ(parts.size(), count);
}

TEST(WrittenPattern, AHeadThatIsDamagedNamesNothing) {
  for (std::size_t bit = 0; bit < kSectorHeadBytes * 8; ++bit) {
    Sector sector = Of(kName);
    sector[bit / 8] ^= static_cast<std::byte>(1U << bit % 8);
    EXPECT_FALSE(NameIn(sector)) << bit;
  }
  EXPECT_FALSE(NameIn(Sector(512)));
  EXPECT_FALSE(NameIn(Sector(kSectorHeadBytes - 1)));
  // One of another size of sectors, of which a part lies here.
  const Sector large = Of(kName, 4096);
  EXPECT_FALSE(NameIn(Sector(large.begin(), large.begin() + 512)));
}

TEST(WrittenPattern, TheRightSectorIsRight) {
  EXPECT_EQ(Judged(Of(kName)).kind, SectorKind::kRight);
}

TEST(WrittenPattern, WhatWasNeverWrittenIsToldFromWhatWentElsewhere) {
  EXPECT_EQ(Judged(Sector(512)).kind, SectorKind::kZeros);
  EXPECT_EQ(Judged(Sector(512, std::byte{0xFF})).kind, SectorKind::kOnes);
  struct Row {
    SectorName found;
    SectorKind kind;
  };
  for (const Row& row :
       {Row{{kName.run, 2, 5}, SectorKind::kOtherAddress},
        Row{{kName.run, 1, 5}, SectorKind::kOtherAddress},
        Row{{kName.run, 1, kName.lba}, SectorKind::kOtherPass},
        Row{{kName.run, 3, kName.lba}, SectorKind::kOtherPass},
        Row{{1, 2, kName.lba}, SectorKind::kOtherRun}, Row{{1, 0, 5}, SectorKind::kOtherRun}}) {
    const SectorFinding finding = Judged(Of(row.found));
    EXPECT_EQ(finding.kind, row.kind);
    EXPECT_EQ(finding.name, row.found);
  }
}

TEST(WrittenPattern, WrongBitsAreCounted) {
  Sector sector = Of(kName);
  sector[100] ^= std::byte{0x03};
  sector[511] ^= std::byte{0x80};
  SectorFinding finding = Judged(sector);
  EXPECT_EQ(finding.kind, SectorKind::kBits);
  EXPECT_EQ(finding.wrongBits, 3U);
  EXPECT_EQ(finding.firstWrongByte, 100U);
  // One in the head, too.
  sector[24] ^= std::byte{0x01};
  finding = Judged(sector);
  EXPECT_EQ(finding.kind, SectorKind::kBits);
  EXPECT_EQ(finding.wrongBits, 4U);
  EXPECT_EQ(finding.firstWrongByte, 24U);
}

TEST(WrittenPattern, ABitThatIsStuckIsSeenInOneOfTwoPasses) {
  for (std::size_t bit = 0; bit < 512 * 8; ++bit) {
    int seen = 0;
    for (const std::uint32_t pass : {0U, 1U}) {
      Sector sector = Of({3, pass, 9});
      sector[bit / 8] |= static_cast<std::byte>(1U << bit % 8);
      seen += Judged(sector, {3, pass, 9}).kind == SectorKind::kBits ? 1 : 0;
    }
    EXPECT_EQ(seen, 1) << bit;
  }
}

TEST(WrittenPattern, SomethingElseIsForeign) {
  Sector text(512);
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<std::byte>(i);
  EXPECT_EQ(Judged(text).kind, SectorKind::kForeign);
}

TEST(WrittenPattern, OnlyWhatIsNobodysMayBeWrittenOver) {
  EXPECT_FALSE(MayBeData(Sector(512)));
  EXPECT_FALSE(MayBeData(Sector(512, std::byte{0xFF})));
  EXPECT_FALSE(MayBeData(Of({5, 1, 6})));
  Sector one(512);
  one[511] = std::byte{1};
  EXPECT_TRUE(MayBeData(one));
  EXPECT_TRUE(MayBeData(Sector(512, std::byte{0xFE})));
}

}  // namespace
}  // namespace orvan::storage
