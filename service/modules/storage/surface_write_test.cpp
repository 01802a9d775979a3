#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/surface_write_test_support.h"

// What is found on a surface that was written.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using Bench = SurfaceWriteBench;

TEST(WriteSurface, ASoundDiskHoldsThePatternOfTheLastPass) {
  for (const auto& [logical, physical] : {std::pair{512U, 512U}, {512U, 4096U}, {4096U, 4096U}}) {
    // The last block is short.
    Bench bench({}, {(kWrittenSectors + 3) * logical, logical, physical});
    const WriteResult result = bench.Run();
    ExpectSound(result);
    EXPECT_EQ(result.passesDone, 2U);
    EXPECT_EQ(result.bytesWritten, 2 * (kWrittenSectors + 3) * logical);
    EXPECT_EQ(result.bytesCompared, result.bytesWritten);
    EXPECT_EQ(result.sectorsTouched, kWrittenSectors + 3);
    EXPECT_EQ(bench.disk.WrittenSectors().size(), kWrittenSectors + 3);
    for (const std::uint64_t lba : {std::uint64_t{0}, std::uint64_t{127}, kWrittenSectors + 2}) {
      EXPECT_EQ(NameIn(bench.Content(lba)), (SectorName{kWriteRun, 1, lba}));
    }
  }
}

TEST(WriteSurface, AllIsWrittenAndFlushedBeforeAnythingIsRead) {
  Bench bench;
  bench.plan.passes = 3;
  ExpectSound(bench.Run());
  EXPECT_EQ(bench.kinds, "wfrwfrwfr");
  EXPECT_EQ(bench.calls, 3 * (16 + 1 + 16));
}

TEST(WriteSurface, NothingOutsideItsRangeIsWritten) {
  Bench bench;
  bench.plan.firstLba = 100;
  bench.plan.lastLba = 300;
  const WriteResult result = bench.Run();
  ExpectSound(result);
  EXPECT_EQ(*bench.disk.WrittenSectors().begin(), 100U);
  EXPECT_EQ(*bench.disk.WrittenSectors().rbegin(), 300U);
  EXPECT_EQ(result.sectorsTouched, 201U);
}

TEST(WriteSurface, ASectorThatWasWrittenElsewhereIsNamedWithThatOtherOne) {
  Bench bench({.misplacedWrites = {{700, 100}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_EQ(result.wrong.Text(8), "100, 700");
  EXPECT_EQ(result.firstWrong.kind, SectorKind::kOtherAddress);
  EXPECT_EQ(result.firstWrong.name, (SectorName{kWriteRun, 0, 700}));
  EXPECT_EQ(result.wrongKinds.at(SectorKind::kZeros), 1U);
  EXPECT_EQ(result.repeatsAfter, 0U);
  EXPECT_EQ(result.passesDone, 1U);
}

TEST(WriteSurface, AWriteThatIsLostLeavesWhatWasThere) {
  Bench fresh({.lostWrites = {55}});
  EXPECT_EQ(fresh.Run().firstWrong.kind, SectorKind::kZeros);

  Bench again;
  ExpectSound(again.Run());
  again.disk.faults.lostWrites = {55};
  ++again.plan.run;
  const WriteResult other = again.Run();
  EXPECT_EQ(other.wrong.Text(8), "55");
  EXPECT_EQ(other.firstWrong.kind, SectorKind::kOtherRun);
  EXPECT_EQ(other.firstWrong.name, (SectorName{kWriteRun, 1, 55}));

  Bench late;
  late.meddle = [&late](int call) {
    if (call == 33) late.disk.faults.lostWrites = {55};  // the second pass begins
  };
  const WriteResult second = late.Run();
  EXPECT_EQ(second.wrong.Text(8), "55");
  EXPECT_EQ(second.firstWrong.kind, SectorKind::kOtherPass);
  EXPECT_EQ(second.firstWrong.name.pass, 0U);
  EXPECT_EQ(second.passesDone, 2U);
}

TEST(WriteSurface, ABitThatIsStuckIsFoundWhicheverWayItIsStuck) {
  for (int bit = 0; bit < 8; ++bit) {
    Bench bench({.stuckBits = {{5, {200, static_cast<std::byte>(1U << bit)}}}});
    const WriteResult result = bench.Run();
    EXPECT_EQ(result.wrong.Text(8), "5");
    EXPECT_EQ(result.firstWrong.kind, SectorKind::kBits);
    EXPECT_EQ(result.firstWrong.wrongBits, 1U);
    EXPECT_EQ(result.firstWrong.firstWrongByte, 200U);
  }
}

// Each address of the 1,000 that are there has what was last written to one of those that share it.
TEST(WriteSurface, ACapacityThatIsNotThereIsFound) {
  Bench bench({.realSectors = 1000});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.wrong.Text(8), "0-1047");
  EXPECT_EQ(result.firstWrong.name.lba, 2000U);
  EXPECT_EQ(result.repeatsAfter, 1000U);
}

TEST(WriteSurface, WritesBeyondTheCapacityThatAreDroppedAreFoundToo) {
  Bench bench;
  for (std::uint64_t lba = 1000; lba < kWrittenSectors; ++lba)
    bench.disk.faults.lostWrites.insert(lba);
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.wrong.Text(8), "1000-2047");
  EXPECT_EQ(result.repeatsAfter, 0U);
}

TEST(WriteSurface, ASectorThatCannotBeWrittenIsNamedOnceAndItsNeighboursAreWritten) {
  Bench bench({.failingWrites = {{300, EIO}, {302, EREMOTEIO}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kComplete);
  EXPECT_EQ(result.unwritable.Text(8), "300, 302");
  EXPECT_EQ(result.unwritable.FirstError(), EIO);
  EXPECT_TRUE(result.wrong.IsEmpty()) << result.wrong.Text(8);
  EXPECT_TRUE(result.unreadable.IsEmpty());
  EXPECT_EQ(result.passesDone, 1U);
  for (const std::uint64_t lba : {299U, 301U, 303U, 383U}) {
    EXPECT_EQ(NameIn(bench.Content(lba)), (SectorName{kWriteRun, 0, lba}));
  }
}

TEST(WriteSurface, ASectorThatCannotBeReadBackIsNamed) {
  Bench bench({.breakingWrites = {{301, ENODATA}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.unreadable.Text(8), "301");
  EXPECT_EQ(result.unreadable.FirstError(), ENODATA);
  EXPECT_TRUE(result.unwritable.IsEmpty());
  EXPECT_TRUE(result.wrong.IsEmpty());
}

TEST(WriteSurface, WhatCouldNotBeWrittenIsNotNamedAgainWhenItCannotBeRead) {
  Bench bench({.badSectors = {{300, EIO}}, .failingWrites = {{300, EIO}}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.unwritable.Text(8), "300");
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

TEST(WriteSurface, TheLastSectorsFailuresCountToo) {
  Bench written({.failingWrites = {{kWrittenSectors - 1, EIO}}});
  EXPECT_EQ(written.Run().unwritable.Text(8), "2047");
  Bench read({.breakingWrites = {{kWrittenSectors - 1, EIO}}});
  const WriteResult result = read.Run();
  EXPECT_EQ(result.unreadable.Text(8), "2047");
  EXPECT_EQ(result.passesDone, 1U);
}

TEST(WriteSurface, AFlushIsAPartOfWriting) {
  Bench bench;
  bench.meddle = [&bench](int) {
    // The calls before have all been writes.
    if (bench.kinds == "w" && bench.calls == 16) bench.now += 5s;
  };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.writing, 5s + 32ms);
  EXPECT_EQ(result.slowestWrite, 1ms);
}

TEST(WriteSurface, TransfersAreMeasured) {
  Bench bench;
  bench.meddle = [&bench](int call) { bench.each = call == 7 ? 4s : call == 20 ? 3s : 1s; };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.slowestWrite, 4s);
  EXPECT_EQ(result.slowestRead, 3s);
  EXPECT_EQ(result.writing, 32s + 3s);
  EXPECT_EQ(result.reading, 32s + 2s);
}

}  // namespace
}  // namespace orvan::storage
