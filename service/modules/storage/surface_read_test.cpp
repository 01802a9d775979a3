#include "service/modules/storage/surface_read.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "service/modules/storage/surface_test_support.h"
#include "service/sdk/module_test_support.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using machine::DiskFaults;

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
  run.reader.onCollect = [&run] { run.time += 70ms; };
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.blocksRead, 1U);
  EXPECT_EQ(result.slowestAnswer, 70ms);  // what passes at the disk, not at our own looks
  EXPECT_EQ(result.took, run.time.time_since_epoch() - 10ms);  // from the first look to the last
}

TEST(SurfaceRead, TellsTheFirstAnswerToEachBlock) {
  MemoryRun run(Bad({20}), 43);
  std::vector<BlockAnswer> answers;
  run.reader.onCollect = [&run] { run.time += 10ms; };
  run.hooks.answer = [&answers](const BlockAnswer& answer) { answers.push_back(answer); };
  const SurfaceResult result = run.Go();
  ASSERT_EQ(answers.size(), 6U);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers[i].lba, 8 * i);
    EXPECT_EQ(answers[i].sectors, i < 5 ? 8U : 3U);
    EXPECT_EQ(answers[i].outcome, i == 2 ? sdk::ReadOutcome::kFailed : sdk::ReadOutcome::kRead);
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
  sdk::testing::RememberingContext context(nullptr);
  result.unnarrowedPlaces.Measure(context, "blocks");
  ASSERT_EQ(context.series.at(0).points.size(), 1U);
  EXPECT_EQ(context.series[0].points[0].position, static_cast<double>(result.firstUnnarrowedLba));
  EXPECT_EQ(context.series[0].points[0].value, (100000 - 125) * 8);
  EXPECT_EQ(result.blocksRead, 100000U);
  EXPECT_EQ(result.bytesRead, 0U);
  EXPECT_EQ(run.reader.Submitted().size(), 100000U + 1000U);
  EXPECT_EQ(run.percents.back(), 100);
}

TEST(SurfaceRead, BlocksThatCanBeReadOnTheSecondTryAreCounted) {
  DiskFaults faults = Bad({100});
  faults.failuresLeft = {{40, 1}, {500, 1}};
  EXPECT_EQ(MemoryRun(faults).Go().secondTryBlocks, 2U);
  EXPECT_EQ(MemoryRun(Bad({100})).Go().secondTryBlocks, 0U);
}

TEST(SurfaceRead, ItsProgressIsThatOfTheBlocks) {
  MemoryRun run({}, 80000);
  run.Go();
  // Of 10,000 blocks some hundred are read in each quarter of a second.
  ASSERT_GT(run.percents.size(), 20U);
  for (std::size_t i = 1; i + 1 < run.percents.size(); ++i) {
    EXPECT_NEAR(run.percents[i],
                100.0 * static_cast<double>(i) / static_cast<double>(run.percents.size() - 1), 2)
        << i;
  }
}

TEST(SurfaceRead, ItsProgressIsThatOfTheTimeWhereThatIsShorter) {
  MemoryRun run({}, 8000000);
  run.plan.timeCap = std::chrono::seconds(10);
  EXPECT_EQ(run.Go().end, SurfaceEnd::kTimeCap);
  ASSERT_GT(run.percents.size(), 20U);
  for (std::size_t i = 1; i + 1 < run.percents.size(); ++i) {
    EXPECT_NEAR(run.percents[i],
                100.0 * static_cast<double>(i) / static_cast<double>(run.percents.size() - 1), 4)
        << i;
  }
}

}  // namespace
}  // namespace orvan::storage
