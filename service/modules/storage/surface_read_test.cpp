#include "service/modules/storage/surface_read.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "service/machine/faulty_block_reader.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using machine::DiskFaults;
using machine::FaultyBlockReader;

// A run over a disk in memory, with a clock that moves 10 ms at every look.
struct MemoryRun {
  explicit MemoryRun(DiskFaults faults, std::uint64_t sectors = 1000,
                     std::uint32_t sectorBytes = 512, std::uint32_t depth = 4)
      : reader({sectors * sectorBytes, sectorBytes, sectorBytes}, std::move(faults), depth) {
    plan.lastLba = sectors - 1;
    plan.sectorsPerBlock = 8;
    hooks.now = [this] { return time += 10ms; };
    hooks.progress = [this](int percent) { percents.push_back(percent); };
    hooks.firstBadSector = [this](std::uint64_t lba) { firstBad.push_back(lba); };
  }

  SurfaceResult Go(std::uint64_t mostNarrowed = kMostNarrowedSectors) {
    if (!plan.order.at) plan.order = LinearOrder(Blocks());
    return ReadSurface(reader, plan, stop.get_token(), hooks, mostNarrowed);
  }

  std::uint64_t Blocks() const {
    return CountBlocks(plan.firstLba, plan.lastLba, plan.sectorsPerBlock);
  }

  // How often each sector was read.
  std::vector<int> SectorReads() const {
    const auto& geometry = reader.Geometry();
    std::vector<int> counts(geometry.sizeBytes / geometry.logicalSectorBytes);
    for (const machine::BlockRead& read : reader.Submitted()) {
      const std::uint64_t first = read.offsetBytes / geometry.logicalSectorBytes;
      for (std::uint64_t i = 0; i < read.sizeBytes / geometry.logicalSectorBytes; ++i) {
        ++counts.at(first + i);
      }
    }
    return counts;
  }

  FaultyBlockReader reader;
  SurfacePlan plan;
  SurfaceHooks hooks;
  std::stop_source stop;
  std::chrono::steady_clock::time_point time;
  std::vector<int> percents;
  std::vector<std::uint64_t> firstBad;
};

DiskFaults Bad(std::initializer_list<std::uint64_t> sectors, int error = EIO) {
  DiskFaults faults;
  for (const std::uint64_t sector : sectors) faults.badSectors[sector] = error;
  return faults;
}

TEST(SurfaceRead, ReadsEverySectorOfAGoodDiskOnce) {
  MemoryRun run({});
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.blocksRead, 125U);
  EXPECT_EQ(result.bytesRead, 512000U);
  EXPECT_EQ(run.SectorReads(), std::vector<int>(1000, 1));
}

TEST(SurfaceRead, TellsHowLongItTookAndTheSlowestAnswer) {
  MemoryRun run({});
  run.plan.lastLba = 7;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.blocksRead, 1U);
  EXPECT_EQ(result.slowestAnswer, 10ms);  // one look when it is handed over, the next at its answer
  EXPECT_EQ(result.took, run.time.time_since_epoch() - 10ms);  // from the first look to the last
}

TEST(SurfaceRead, TellsTheFirstAnswerToEachBlock) {
  MemoryRun run(Bad({20}), 43);
  std::vector<BlockAnswer> answers;
  run.hooks.answer = [&answers](const BlockAnswer& answer) { answers.push_back(answer); };
  const SurfaceResult result = run.Go();
  ASSERT_EQ(answers.size(), 6U);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers[i].lba, 8 * i);
    EXPECT_EQ(answers[i].sectors, i < 5 ? 8U : 3U);
    EXPECT_EQ(answers[i].outcome,
              i == 2 ? machine::ReadOutcome::kFailed : machine::ReadOutcome::kRead);
    EXPECT_EQ(answers[i].error, i == 2 ? EIO : 0);
    EXPECT_GT(answers[i].took, 0ms);
    EXPECT_LE(answers[i].took, result.slowestAnswer);
  }
}

TEST(SurfaceRead, TheLastBlockMayBeShorter) {
  MemoryRun run({}, 1003);
  EXPECT_EQ(run.Go().blocksRead, 126U);
  EXPECT_EQ(run.SectorReads(), std::vector<int>(1003, 1));
}

TEST(SurfaceRead, ReadsTheRangeAndNothingElse) {
  MemoryRun run({});
  run.plan.firstLba = 13;
  run.plan.lastLba = 37;
  run.Go();
  std::vector<int> expected(1000, 0);
  std::fill(expected.begin() + 13, expected.begin() + 38, 1);
  EXPECT_EQ(run.SectorReads(), expected);
}

TEST(SurfaceRead, ARangeOfOneSector) {
  MemoryRun run(Bad({999}));
  run.plan.firstLba = 999;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.bad.Text(8), "999");
}

TEST(SurfaceRead, NamesExactlyTheBadSectorsAtBlockEdgesAndAcrossThem) {
  // Blocks are 8 sectors: the first and last of the disk, the last of a block, a run over an edge.
  MemoryRun run(Bad({0, 7, 15, 16, 17, 64, 999}));
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_EQ(result.bad.Text(99), "0, 7, 15-17, 64, 999");
  EXPECT_EQ(result.bad.Total(), 7U);
  EXPECT_EQ(result.blocksRead, 125U);
  EXPECT_EQ(run.firstBad, std::vector<std::uint64_t>{0});
}

TEST(SurfaceRead, TheRemainingSurfaceIsStillRead) {
  MemoryRun run(Bad({0}));
  run.Go();
  const std::vector<int> reads = run.SectorReads();
  EXPECT_EQ(reads[0], 2);
  EXPECT_TRUE(std::all_of(reads.begin() + 8, reads.end(), [](int count) { return count == 1; }));
}

TEST(SurfaceRead, SectorsThatCanBeReadOnTheSecondTryAreNotBad) {
  DiskFaults faults = Bad({100});
  faults.failuresLeft = {{40, 1}, {500, 1}};
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.bad.Text(8), "100");
  EXPECT_EQ(result.bytesRead, 1000U * 512 - 8 * 512);
}

TEST(SurfaceRead, NeighboursThatFailAlongInTheQueueAreNotBad) {
  DiskFaults faults = Bad({16, 200});
  faults.failNeighbours = true;
  MemoryRun run(faults);
  EXPECT_EQ(run.Go().bad.Text(8), "16, 200");
}

TEST(SurfaceRead, SectorsAreReadAgainOneAtATime) {
  MemoryRun run(Bad({3}));
  run.plan.lastLba = 7;
  run.Go();
  ASSERT_EQ(run.reader.Submitted().size(), 9U);
  EXPECT_EQ(run.reader.MostOutstanding(), 1U);
}

TEST(SurfaceRead, CountsInSectorsOf4096BytesWhereTheDiskDoes) {
  MemoryRun run(Bad({3, 4}), 100, 4096);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.bad.Text(8), "3-4");
  EXPECT_EQ(run.reader.Submitted().back().sizeBytes % 4096, 0U);
}

TEST(SurfaceRead, KeepsTheErrorOfTheLowestSectorWhateverTheOrder) {
  DiskFaults faults = Bad({900});
  faults.badSectors[80] = ENODATA;
  MemoryRun run(faults);
  run.plan.order = FunnelOrder(125, 125);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.bad.FirstLba(), 80U);
  EXPECT_EQ(result.bad.FirstError(), ENODATA);
}

TEST(SurfaceRead, OfBlocksThatFailTogetherTheLowestIsNamedFirst) {
  MemoryRun run(Bad({999, 8}));
  run.plan.order = FunnelOrder(125, 125);
  run.Go();
  EXPECT_EQ(run.firstBad, std::vector<std::uint64_t>{8});
}

TEST(SurfaceRead, NeverHasMoreOutstandingThanTheReaderTakes) {
  MemoryRun run({});
  run.Go();
  EXPECT_LE(run.reader.MostOutstanding(), run.reader.Capacity());
  EXPECT_GE(run.reader.MostOutstanding(), 4U);
}

TEST(SurfaceRead, ProgressRisesFrom0To100) {
  MemoryRun run({}, 100000);
  run.Go();
  ASSERT_GE(run.percents.size(), 5U);
  EXPECT_EQ(run.percents.front(), 0);
  EXPECT_EQ(run.percents.back(), 100);
  EXPECT_TRUE(std::is_sorted(run.percents.begin(), run.percents.end()));
}

TEST(SurfaceRead, ADeadDiskIsGoneOverInBoundedReads) {
  DiskFaults faults;
  faults.isBad = [](std::uint64_t) { return EIO; };
  MemoryRun run(faults, 800000);
  const SurfaceResult result = run.Go(1000);
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_EQ(result.bad.Total(), 1000U);
  EXPECT_EQ(result.unnarrowedBlocks, 100000U - 125U);
  EXPECT_EQ(result.blocksRead, 100000U);
  EXPECT_EQ(result.bytesRead, 0U);
  EXPECT_EQ(run.reader.Submitted().size(), 100000U + 1000U);
  EXPECT_EQ(run.percents.back(), 100);
}

TEST(SurfaceRead, AVanishedDiskEndsTheRunWithoutBadSectors) {
  DiskFaults faults;
  faults.vanishAfterReads = 50;
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.endLba, 400U);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_NE(run.percents.back(), 100);
}

TEST(SurfaceRead, ADiskThatVanishesWhileItsSectorsAreReadAgain) {
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

TEST(SurfaceRead, BlocksThatFailInTheLastMomentBeforeADiskVanishesArePartOfThat) {
  MemoryRun run(PulledOut(32, 6), 64);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_TRUE(result.bad.IsEmpty());
  EXPECT_EQ(result.unnarrowedBlocks, 0U);
  EXPECT_EQ(result.lastFailures, 2U);
  EXPECT_EQ(result.endLba, 32U);
  EXPECT_EQ(result.blocksRead, 4U);
}

TEST(SurfaceRead, SectorsThatFailInTheLastMomentBeforeADiskVanishesArePartOfThat) {
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

TEST(SurfaceRead, WhatFailedWhileTheDiskStillAnsweredIsOfItsSurface) {
  DiskFaults faults = Bad({3, 20});
  faults.vanishAfterReads = 8 + 16 + 3;
  MemoryRun run(faults, 128);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_EQ(result.bad.Text(8), "3, 20");
  EXPECT_EQ(result.lastFailures, 0U);
}

TEST(SurfaceRead, WhatFailedLongBeforeADiskVanishedIsOfItsSurface) {
  MemoryRun run(PulledOut(0, 300), 512);
  run.hooks.now = [&run] { return run.time += 100ms; };
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kVanished);
  EXPECT_GT(result.bad.Total(), 100U);
  EXPECT_EQ(result.bad.FirstLba(), 0U);
  EXPECT_GT(result.lastFailures, 0U);
  EXPECT_GT(result.endLba, 0U);
}

TEST(SurfaceRead, AHangingReadEndsTheRun) {
  DiskFaults faults;
  faults.hangingSectors = {77};
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kHung);
  EXPECT_EQ(result.endLba, 72U);
}

TEST(SurfaceRead, AReaderThatFallsSilentCountsAsAHang) {
  DiskFaults faults;
  faults.hangingSectors = {77};
  faults.callsUntilTimeOut = 0;
  MemoryRun run(faults);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kHung);
  EXPECT_EQ(result.endLba, 72U);
}

TEST(SurfaceRead, AReaderThatBreaksIsNoFaultOfTheDisk) {
  DiskFaults faults;
  faults.loseAfterReads = 10;
  EXPECT_EQ(MemoryRun(faults).Go().end, SurfaceEnd::kReaderLost);
}

TEST(SurfaceRead, AReaderThatStandsStillIsNoFaultOfTheDisk) {
  DiskFaults faults;
  faults.loseAfterReads = 10;
  faults.lostAs = machine::ReaderState::kStalled;
  const SurfaceResult result = MemoryRun(faults).Go();
  EXPECT_EQ(result.end, SurfaceEnd::kReaderStalled);
  EXPECT_TRUE(result.bad.IsEmpty());
}

TEST(SurfaceRead, AReadThatCouldNotBeTriedIsNoFaultOfTheDiskWhateverItsError) {
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

TEST(SurfaceRead, TheTimeOfAPauseIsNoneOfTheDisks) {
  MemoryRun run({}, 8);
  run.plan.timeCap = 10s;
  run.reader.onCollect = [&run] { run.time += 1h; };
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_LT(result.slowestAnswer, 1s);
  EXPECT_LT(result.took, 1s);
}

TEST(SurfaceRead, AnErrorOfTheKernelIsNoFaultOfTheDisk) {
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

TEST(SurfaceRead, AStopBeforeTheFirstReadReadsNothing) {
  MemoryRun run({});
  run.stop.request_stop();
  EXPECT_EQ(run.Go().end, SurfaceEnd::kStopped);
}

TEST(SurfaceRead, AStopEndsWaitingForADiskThatNeverAnswers) {
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

TEST(SurfaceRead, TheTimeCapEndsTheFeedingButNotWhatIsBegun) {
  MemoryRun run({}, 1000000);
  run.plan.timeCap = 1s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kTimeCap);
  EXPECT_GT(result.blocksRead, 0U);
  EXPECT_EQ(result.blocksRead, run.reader.Submitted().size());
  EXPECT_EQ(run.percents.back(), 100);
}

TEST(SurfaceRead, ATimeCapAfterTheLastBlockCutsNothing) {
  MemoryRun run({}, 8);
  run.plan.timeCap = 1s;
  run.time += 1h;
  EXPECT_EQ(run.Go().end, SurfaceEnd::kComplete);
}

TEST(SurfaceRead, AFaultThatComesAlongWithAHangIsNotForgotten) {
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

TEST(SurfaceRead, AFaultBehindTheEndInOneBatchIsNotForgotten) {
  DiskFaults faults = Bad({9});
  faults.badSectors[0] = ENOMEM;
  MemoryRun run(faults, 32);
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kOwnFault);
  EXPECT_EQ(result.endLba, 0U);
  EXPECT_EQ(result.unnarrowedBlocks, 1U);
  EXPECT_EQ(result.firstUnnarrowedLba, 8U);
}

TEST(SurfaceRead, AFaultBeforeAStopOrALostReaderIsNotForgotten) {
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

TEST(SurfaceRead, AfterTheTimeCapFailedBlocksAreNotReadSectorBySector) {
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

TEST(SurfaceRead, BlocksThatCanBeReadOnTheSecondTryAreCounted) {
  DiskFaults faults = Bad({100});
  faults.failuresLeft = {{40, 1}, {500, 1}};
  EXPECT_EQ(MemoryRun(faults).Go().secondTryBlocks, 2U);
  EXPECT_EQ(MemoryRun(Bad({100})).Go().secondTryBlocks, 0U);
}

}  // namespace
}  // namespace orvan::storage
