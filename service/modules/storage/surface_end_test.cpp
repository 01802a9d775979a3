// How a run of the surface ends before its time, and what of it still counts.
#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/surface_test_support.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using machine::DiskFaults;

TEST(SurfaceEnd, AVanishedDiskEndsTheRunWithoutBadSectors) {
  DiskFaults faults;
  faults.vanishAfterReads = 50;
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.endLba, 400U);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_NE(run.percents.back(), 100);
}

TEST(SurfaceEnd, ADiskThatVanishesWhileItsSectorsAreReadAgain) {
  DiskFaults faults = Bad({0, 1, 2, 3, 4, 5, 6, 7});
  faults.vanishAfterReads = 11;
  MemoryRun run(faults);
  run.plan.lastLba = 63;
  const SurfaceResult result = run.Go();
  // The block failed while the disk still answered; its sectors failed when nothing did any more.
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.unnarrowedBlocks, 1U);
  EXPECT_EQ(result.firstUnnarrowedLba, 0U);
  EXPECT_EQ(result.lastFailures, 3U);
  EXPECT_EQ(result.endLba, 0U);
}

// A disk that answers reads from that one on with errors, and is gone so many reads later.
DiskFaults PulledOut(std::uint64_t firstSector, std::int64_t vanishAfterReads) {
  DiskFaults faults;
  faults.isBad = [firstSector](std::uint64_t sector) { return sector >= firstSector ? EIO : 0; };
  faults.vanishAfterReads = vanishAfterReads;
  return faults;
}

TEST(SurfaceEnd, BlocksThatFailInTheLastMomentBeforeADiskVanishesArePartOfThat) {
  MemoryRun run(PulledOut(32, 6), 64);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.unnarrowedBlocks, 0U);
  EXPECT_EQ(result.lastFailures, 2U);
  EXPECT_EQ(result.endLba, 32U);
  EXPECT_EQ(result.blocksRead, 4U);
}

TEST(SurfaceEnd, SectorsThatFailInTheLastMomentBeforeADiskVanishesArePartOfThat) {
  MemoryRun run(PulledOut(32, 8 + 11), 64);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.unnarrowedBlocks, 0U);
  // Three blocks of the four, for one was gone over, and eleven sectors.
  EXPECT_EQ(result.lastFailures, 14U);
  EXPECT_EQ(result.endLba, 32U);
  EXPECT_TRUE(run.firstBad.empty());
}

TEST(SurfaceEnd, WhatFailedWhileTheDiskStillAnsweredIsOfItsSurface) {
  DiskFaults faults = Bad({3, 20});
  faults.vanishAfterReads = 8 + 16 + 3;
  MemoryRun run(faults, 128);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.bad.Text(8), "3, 20");
  EXPECT_EQ(result.lastFailures, 0U);
}

TEST(SurfaceEnd, OneAnswerAmongFailuresVouchesForThoseBeforeThem) {
  // The first four blocks fail, then three of four; sector by sector the disk is gone.
  DiskFaults faults = Bad({0, 8, 16, 24, 32, 40, 48});
  faults.vanishAfterReads = 8;
  MemoryRun run(faults, 64);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.unnarrowedBlocks, 4U);
  EXPECT_EQ(result.firstUnnarrowedLba, 0U);
  EXPECT_EQ(result.lastFailures, 3U);
}

// A reader that has nothing to tell the second time.
class QuietReader final : public sdk::BlockReader {
 public:
  explicit QuietReader(sdk::BlockReader& reader) : reader_(reader) {}
  const sdk::BlockGeometry& Geometry() const override { return reader_.Geometry(); }
  std::uint32_t Capacity() const override { return reader_.Capacity(); }
  void Submit(const std::vector<sdk::BlockRead>& reads) override { reader_.Submit(reads); }
  sdk::ReaderState Collect(std::vector<sdk::BlockReadResult>& results,
                           std::chrono::milliseconds wait) override {
    return ++calls_ == 2 ? sdk::ReaderState::kWorking : reader_.Collect(results, wait);
  }

 private:
  sdk::BlockReader& reader_;
  int calls_ = 0;
};

TEST(SurfaceEnd, SilenceVouchesForNothing) {
  MemoryRun run(PulledOut(0, 4), 64);
  run.plan.order = LinearOrder(run.Blocks());
  QuietReader reader(run.reader);
  const SurfaceResult result = ReadSurface(reader, run.plan, run.stop.get_token(), run.hooks);
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.unnarrowedBlocks, 0U);
  EXPECT_EQ(result.lastFailures, 4U);
}

TEST(SurfaceEnd, OfBlocksThatWereNotGoneOverTheLowestIsNamed) {
  DiskFaults faults = Bad({20, 100});
  faults.badSectors[100] = ENODATA;
  for (const bool isBackwards : {false, true}) {
    MemoryRun run(faults, 256);
    const std::uint64_t blocks = run.Blocks();
    run.plan.order = {
        blocks, [=](std::uint64_t index) { return isBackwards ? blocks - 1 - index : index; }};
    const SurfaceResult result = run.Go(0);
    EXPECT_EQ(result.unnarrowedBlocks, 2U);
    EXPECT_EQ(result.firstUnnarrowedLba, 16U);
    EXPECT_EQ(result.firstUnnarrowedError, EIO);
  }
}

TEST(SurfaceEnd, WhatFailedLongBeforeADiskVanishedIsOfItsSurface) {
  MemoryRun run(PulledOut(0, 300), 512);
  run.hooks.now = [&run] { return run.time += 100ms; };
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_GT(result.bad.Total(), 100U);
  EXPECT_EQ(result.bad.FirstLba(), 0U);
  EXPECT_GT(result.lastFailures, 0U);
  EXPECT_GT(result.endLba, 0U);
}

TEST(SurfaceEnd, AHangingReadEndsTheRun) {
  DiskFaults faults;
  faults.hangingSectors = {77};
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kHung);
  EXPECT_EQ(result.endLba, 72U);
}

TEST(SurfaceEnd, AReaderThatFallsSilentCountsAsAHang) {
  DiskFaults faults;
  faults.hangingSectors = {77};
  faults.callsUntilTimeOut = 0;
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kHung);
  EXPECT_EQ(result.endLba, 72U);
}

TEST(SurfaceEnd, AReaderThatBreaksIsNoFaultOfTheDisk) {
  DiskFaults faults;
  faults.loseAfterReads = 10;
  EXPECT_EQ(MemoryRun(faults).Go().end, SurfaceEnd::kReaderLost);
}

TEST(SurfaceEnd, AReaderThatStandsStillIsNoFaultOfTheDisk) {
  DiskFaults faults;
  faults.loseAfterReads = 10;
  faults.lostAs = sdk::ReaderState::kStalled;
  const SurfaceResult result = MemoryRun(faults).Go();
  EXPECT_EQ(result.end, SurfaceEnd::kReaderStalled);
  EXPECT_TRUE(result.bad.IsEmpty());
}

TEST(SurfaceEnd, AReadThatCouldNotBeTriedIsNoFaultOfTheDiskWhateverItsError) {
  for (const int error : {EIO, ENODATA, ENODEV, ENXIO, ETIMEDOUT}) {
    DiskFaults faults;
    faults.untriedSectors = {{40, error}};
    MemoryRun run(faults);
    const SurfaceResult result = run.Go();
    EXPECT_EQ(result.end, SurfaceEnd::kOwnFault);
    EXPECT_EQ(result.endLba, 40U);
    EXPECT_EQ(result.endError, error);
    EXPECT_TRUE(result.bad.IsEmpty());
    EXPECT_EQ(result.unnarrowedBlocks, 0U);
  }
}

TEST(SurfaceEnd, TheTimeOfAPauseIsNoneOfTheDisks) {
  MemoryRun run({}, 8);
  run.plan.timeCap = 10s;
  run.reader.onCollect = [&run] { run.time += 1h; };
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_LT(result.took, 1s);
}

TEST(SurfaceEnd, AnErrorOfTheKernelIsNoFaultOfTheDisk) {
  MemoryRun run(Bad({40}, ENOMEM));
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kOwnFault);
  EXPECT_EQ(result.endError, ENOMEM);
  EXPECT_TRUE(result.bad.IsEmpty());
}

// A stop at the n-th wait, whatever the engine is doing by then.
class StopAt : public testing::TestWithParam<int> {};

TEST_P(StopAt, EndsTheRunAtTheNextLook) {
  DiskFaults faults;
  faults.isBad = [](std::uint64_t sector) { return sector % 100 < 3 ? EIO : 0; };
  MemoryRun run(faults);
  int calls = 0;
  run.reader.onCollect = [&] {
    if (++calls == GetParam()) run.stop.request_stop();
  };
  EXPECT_EQ(run.Go().end, SurfaceEnd::kStopped);
  EXPECT_EQ(calls, GetParam());
}

INSTANTIATE_TEST_SUITE_P(FirstReadsAndNarrowing, StopAt, testing::Values(1, 2, 3, 5, 9, 20, 60));

TEST(SurfaceEnd, AStopBeforeTheFirstReadReadsNothing) {
  MemoryRun run({});
  run.stop.request_stop();
  EXPECT_EQ(run.Go().end, SurfaceEnd::kStopped);
}

TEST(SurfaceEnd, AStopEndsWaitingForADiskThatNeverAnswers) {
  DiskFaults faults;
  faults.hangingSectors = {0};
  faults.callsUntilTimeOut = -1;
  MemoryRun run(faults);
  int calls = 0;
  run.reader.onCollect = [&] {
    if (++calls == 100) run.stop.request_stop();
  };
  EXPECT_EQ(run.Go().end, SurfaceEnd::kStopped);
}

TEST(SurfaceEnd, TheTimeCapEndsTheFeedingButNotWhatIsBegun) {
  MemoryRun run({}, 1000000);
  run.plan.timeCap = 1s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kTimeCap);
  EXPECT_GT(result.blocksRead, 0U);
  EXPECT_EQ(result.blocksRead, run.reader.Submitted().size());
  EXPECT_EQ(run.percents.back(), 100);
}

TEST(SurfaceEnd, ATimeCapAfterTheLastBlockCutsNothing) {
  MemoryRun run({}, 8);
  run.plan.timeCap = 1s;
  run.time += 1h;
  EXPECT_EQ(run.Go().end, SurfaceEnd::kComplete);
}

TEST(SurfaceEnd, AFaultThatComesAlongWithAHangIsNotForgotten) {
  // Read 1 fails in the batch in which the reader falls silent; nothing is left to narrow it.
  DiskFaults faults = Bad({9}, ENODATA);
  faults.hangingSectors = {0};
  faults.callsUntilTimeOut = 1;
  MemoryRun run(faults, 32);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kHung);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.unnarrowedBlocks, 1U);
  EXPECT_EQ(result.firstUnnarrowedLba, 8U);
  EXPECT_EQ(result.firstUnnarrowedError, ENODATA);
  EXPECT_EQ(result.blocksRead, 3U);
}

TEST(SurfaceEnd, AFaultBehindTheEndInOneBatchIsNotForgotten) {
  DiskFaults faults = Bad({9});
  faults.badSectors[0] = ENOMEM;
  MemoryRun run(faults, 32);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kOwnFault);
  EXPECT_EQ(result.endLba, 0U);
  EXPECT_EQ(result.unnarrowedBlocks, 1U);
  EXPECT_EQ(result.firstUnnarrowedLba, 8U);
}

TEST(SurfaceEnd, AFaultBeforeAStopOrALostReaderIsNotForgotten) {
  MemoryRun stopped(Bad({9}), 32);
  int calls = 0;
  stopped.reader.onCollect = [&] {
    if (++calls == 2) stopped.stop.request_stop();
  };
  EXPECT_EQ(stopped.Go().unnarrowedBlocks, 1U);
  DiskFaults faults = Bad({9});
  faults.loseAfterReads = 4;
  MemoryRun lost(faults, 32);
  const SurfaceResult result = lost.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kReaderLost);
  EXPECT_EQ(result.unnarrowedBlocks, 1U);
}

TEST(SurfaceEnd, AfterTheTimeCapFailedBlocksAreNotReadSectorBySector) {
  DiskFaults faults;
  faults.isBad = [](std::uint64_t) { return EIO; };
  MemoryRun run(faults, 100000);
  run.plan.timeCap = 1s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kTimeCap);
  EXPECT_GT(result.bad.Total(), 0U);
  EXPECT_GT(result.unnarrowedBlocks, 0U);
  // 10 ms pass at every look, and each sector costs at least one.
  EXPECT_LT(run.reader.Submitted().size(), 110U);
  EXPECT_LT(run.time - std::chrono::steady_clock::time_point(), 1100ms);
}

}  // namespace
}  // namespace orvan::storage
