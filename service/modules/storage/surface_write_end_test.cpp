#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/surface_write_test_support.h"

// How a run that writes a surface ends before its time, and what of it still counts.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using sdk::TransferResult;
using Bench = SurfaceWriteBench;

TEST(WriteSurfaceEnd, AWriteThatHangsEndsTheRun) {
  Bench bench({.hangingWrites = {400}});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kHung);
  EXPECT_EQ(result.endStep, WriteStep::kWriting);
  EXPECT_EQ(result.endLba, 384U);
  EXPECT_EQ(result.sectorsTouched, 512U);
}

TEST(WriteSurfaceEnd, ADiskThatVanishesIsNamedWhereItDid) {
  Bench bench({.vanishAfter = 20});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kVanished);
  EXPECT_EQ(result.endStep, WriteStep::kReading);  // 16 writes and a flush lie before
  EXPECT_EQ(result.endLba, 384U);
  EXPECT_EQ(result.lastFailures, 0U);
}

TEST(WriteSurfaceEnd, WhatFailedBecauseTheDiskWentDoesNotCountAgainstItsSurface) {
  for (const bool isSlow : {false, true}) {
    Bench bench;
    bench.meddle = [&bench, isSlow](int call) {
      if (call == 2) bench.answer = {TransferResult::Outcome::kFailed, EIO};
      if (call == 3 || call == 4) bench.answer = {TransferResult::Outcome::kFailed, EIO};
      if (call == 5 && isSlow) bench.now += 6s;
      if (call == 5) bench.answer = {TransferResult::Outcome::kFailed, ENODEV};
    };
    const WriteResult result = bench.Run();
    EXPECT_EQ(result.end, WriteEnd::kVanished);
    EXPECT_EQ(result.endLba, 258U);
    EXPECT_EQ(result.lastFailures, isSlow ? 0U : 2U);
    EXPECT_EQ(result.unwritable.Text(8), isSlow ? "256-257" : "");
  }
}

TEST(WriteSurfaceEnd, APowerCutIsADiskThatVanishes) {
  Bench bench({.hasVolatileCache = true, .cutAfterWrites = 5});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kVanished);
  EXPECT_EQ(result.endLba, 5U * kWrittenBlock);
}

TEST(WriteSurfaceEnd, AFlushThatFailsEndsTheRun) {
  Bench bench({.flushError = EIO});
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kFlushFailed);
  EXPECT_EQ(result.endError, EIO);
  EXPECT_EQ(bench.kinds, "wf");
}

TEST(WriteSurfaceEnd, WhatCouldNotBeTriedIsNoFaultOfTheDisk) {
  Bench bench;
  bench.meddle = [&bench](int call) {
    if (call == 20) bench.answer = {TransferResult::Outcome::kNotTried, ENOMEM};
  };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kOwnFault);
  EXPECT_EQ(result.endError, ENOMEM);
  EXPECT_TRUE(result.unreadable.IsEmpty());
}

TEST(WriteSurfaceEnd, AStopEndsItBeforeTheNextTransfer) {
  Bench bench;
  bench.meddle = [&bench](int call) {
    if (call == 3) bench.stop.request_stop();
  };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kStopped);
  EXPECT_EQ(bench.calls, 4);
  EXPECT_EQ(result.sectorsTouched, 4U * kWrittenBlock);
  EXPECT_NE(bench.percents.back(), 100);
}

TEST(WriteSurfaceEnd, AStopIsSeenAmongTheSectorsOfAFailedBlockAndInATransfer) {
  Bench sectors({.failingWrites = {{0, EIO}}});
  sectors.meddle = [&sectors](int call) {
    if (call == 9) sectors.stop.request_stop();
  };
  EXPECT_EQ(sectors.Run().end, WriteEnd::kStopped);
  EXPECT_EQ(sectors.calls, 10);
  Bench inside;
  inside.meddle = [&inside](int call) {
    if (call == 2) inside.answer = {TransferResult::Outcome::kStopped, 0};
  };
  EXPECT_EQ(inside.Run().end, WriteEnd::kStopped);
  EXPECT_EQ(inside.calls, 3);
}

TEST(WriteSurfaceEnd, OfATimeCapEachStepHasItsShare) {
  Bench bench;
  bench.each = 1s;
  bench.plan.timeCap = 40s;
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.passesDone, 2U);
  EXPECT_EQ(result.sectorsTouched, 10U * kWrittenBlock);
  EXPECT_EQ(result.sectorsCompared, 10U * kWrittenBlock);
  EXPECT_EQ(result.sectorsPlanned, kWrittenSectors);
  EXPECT_EQ(bench.disk.WrittenSectors().size(), 10U * kWrittenBlock);
  EXPECT_EQ(bench.kinds, "wfrwfr");
}

TEST(WriteSurfaceEnd, ReadingThatTakesLongerThanWritingIsCutToo) {
  Bench bench;
  bench.each = 1s;
  bench.plan.timeCap = 40s;
  bench.meddle = [&bench](int call) { bench.each = call < 10 ? 1s : 9s; };
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.passesDone, 0U);
  EXPECT_EQ(result.sectorsCompared, 4U * kWrittenBlock);
}

TEST(WriteSurfaceEnd, AtLeastOneBlockIsWritten) {
  Bench bench;
  bench.each = 9s;
  bench.plan.timeCap = 1s;
  const WriteResult result = bench.Run();
  EXPECT_EQ(result.end, WriteEnd::kTimeCap);
  EXPECT_EQ(result.sectorsTouched, std::uint64_t{kWrittenBlock});
  EXPECT_EQ(result.sectorsCompared, 0U);
}

TEST(WriteSurfaceEnd, NoMoreIsTriedOnceTooManySectorsFailed) {
  Bench bench;
  for (std::uint64_t lba = 500; lba < kWrittenSectors; ++lba)
    bench.disk.faults.failingWrites[lba] = EIO;
  const WriteResult result = bench.Run(10);
  EXPECT_EQ(result.end, WriteEnd::kTooBad);
  EXPECT_EQ(result.unwritable.Text(8), "500-509");
  EXPECT_EQ(bench.kinds, "w");
}

TEST(WriteSurfaceEnd, ProgressNeverFallsAndEndsAtAHundred) {
  Bench bench;
  bench.each = 300ms;
  ExpectSound(bench.Run());
  EXPECT_EQ(bench.percents.front(), 0);
  EXPECT_EQ(bench.percents.back(), 100);
  EXPECT_GT(bench.percents.size(), 50U);
  for (std::size_t i = 1; i < bench.percents.size(); ++i) {
    EXPECT_GE(bench.percents[i], bench.percents[i - 1]);
    EXPECT_TRUE(bench.percents[i] < 100 || i + 1 == bench.percents.size());
  }
  // Half of the way when the first of two passes is done.
  EXPECT_EQ(bench.percents[32], 50);
}

TEST(WriteSurfaceEnd, ProgressIsToldFourTimesASecondAtMost) {
  Bench bench;  // which takes 64 ms
  ExpectSound(bench.Run());
  EXPECT_EQ(bench.percents, (std::vector<int>{0, 100}));
}

}  // namespace
}  // namespace orvan::storage
