#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <vector>

#include "service/modules/storage/read_test_support.h"
#include "service/modules/storage/surface_test_support.h"
#include "service/modules/storage/surface_words.h"
#include "service/sdk/block_reader.h"

// What is made of answers that take long: blocks of 8 sectors, four of them at the disk at once.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

machine::DiskFaults Slow(
    std::initializer_list<std::pair<const std::uint64_t, std::chrono::milliseconds>> sectors) {
  machine::DiskFaults faults;
  faults.slowSectors = sectors;
  return faults;
}

TEST(SlowAnswers, OnlyTheBlockThatWasSlowIsCountedAndNotThoseBehindIt) {
  MemoryRun run(Slow({{20, 27s}}));
  run.plan.slowAfter = 3s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_EQ(result.slow.count, 1U);
  EXPECT_EQ(result.slow.sectors.Text(8), "16-23");
  EXPECT_EQ(result.slow.slowestLba, 16U);
  EXPECT_GE(result.slow.slowest, 27s);
  EXPECT_LT(result.slow.slowest, 28s);
}

// A disk whose reads all end at once, of which it tells in any order.
class AllAtOnce final : public sdk::BlockReader {
 public:
  const sdk::BlockGeometry& Geometry() const override { return geometry_; }
  std::uint32_t Capacity() const override { return 8; }
  void Submit(const std::vector<sdk::BlockRead>& reads) override {
    for (const sdk::BlockRead& read : reads) outstanding_.push_back(read.id);
  }
  sdk::ReaderState Collect(std::vector<sdk::BlockReadResult>& results,
                           std::chrono::milliseconds /*wait*/) override {
    const std::chrono::nanoseconds begun = time_;
    time_ += 4s;
    for (auto id = outstanding_.rbegin(); id != outstanding_.rend(); ++id) {
      results.push_back({*id, sdk::ReadOutcome::kRead, 0});
      results.back().begun = begun;
      results.back().ended = time_;
    }
    outstanding_.clear();
    return sdk::ReaderState::kWorking;
  }

 private:
  sdk::BlockGeometry geometry_{64 * 512, 512, 512};
  std::vector<std::uint64_t> outstanding_;
  std::chrono::nanoseconds time_{};
};

TEST(SlowAnswers, OfReadsThatEndAtOnceTheFirstGivenIsTheOneInWhateverOrderTheyAreTold) {
  AllAtOnce reader;
  SurfacePlan plan;
  plan.lastLba = 63;
  plan.sectorsPerBlock = 8;
  plan.order = LinearOrder(8);
  plan.slowAfter = 3s;
  SurfaceHooks hooks;
  hooks.now = [] { return std::chrono::steady_clock::time_point{}; };
  const SurfaceResult result = ReadSurface(reader, plan, {}, hooks);
  EXPECT_EQ(result.end, SurfaceEnd::kComplete);
  EXPECT_EQ(result.slow.count, 1U);
  EXPECT_EQ(result.slow.slowestLba, 0U);
  EXPECT_EQ(result.slow.slowest, 4s);
}

TEST(SlowAnswers, ASlowDiskWhoseReadsWaitForEachOtherHasNone) {
  MemoryRun run({});
  for (std::uint64_t sector = 0; sector < 1000; sector += 8) {
    run.reader.MakeSlow(sector, 1s);
  }
  run.plan.slowAfter = 1500ms;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.slow.count, 0U);
  EXPECT_GE(result.slowestAnswer, 4s);  // which holds the wait behind three others
}

TEST(SlowAnswers, BeginWhereTheLimitIsPassed) {
  for (const auto& [limit, count] :
       {std::pair{4999ms, 1U}, std::pair{5000ms, 0U}, std::pair{0ms, 0U}}) {
    MemoryRun run(Slow({{20, 5s}}), 43, 512, 1);
    run.reader.clock = {};  // nothing takes time but the sector
    run.plan.slowAfter = limit;
    EXPECT_EQ(run.Go().slow.count, count) << limit.count();
  }
}

TEST(SlowAnswers, AreNamedAsRangesWithTheSlowestOfThem) {
  MemoryRun run(Slow({{8, 4s}, {17, 9s}, {800, 5s}}));
  run.plan.slowAfter = 3s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.slow.count, 3U);
  EXPECT_EQ(result.slow.sectors.Text(8), "8-23, 800-807");
  EXPECT_EQ(result.slow.slowestLba, 16U);
}

TEST(SlowAnswers, ASectorThatIsReadByItselfCountsToo) {
  machine::DiskFaults faults = Bad({17});
  faults.slowSectors = {{20, 10s}};
  MemoryRun run(faults);
  run.plan.slowAfter = 3s;
  const SurfaceResult result = run.Go();
  EXPECT_EQ(result.bad.Text(8), "17");
  EXPECT_EQ(result.slow.count, 2U);  // the block, and the sector in it
  EXPECT_EQ(result.slow.sectors.Text(8), "16-23");
}

SurfaceResult Answered(std::uint64_t slow) {
  SurfaceResult result;
  result.blocksRead = 9;
  result.slow.count = slow;
  result.slow.slowest = 27149ms;
  result.slow.slowestLba = 4096;
  result.slow.sectors.Add(2048, 128);
  result.slow.sectors.Add(4096, 128);
  return result;
}

constexpr char kSaid[] =
    "|SLOW_ANSWERS:_COUNT_2,_SLOWEST_27.1_SECONDS_AT_|L|B|A_4096,_SECTORS_2048-2175,_4096-4223";

TEST(SlowAnswers, MakeAPassAWarningThatNamesThem) {
  const sdk::Verdict verdict = words::SurfaceVerdict(Answered(2), 9, 30s, false);
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message, kSaid);
  EXPECT_EQ(verdict.found, "9 of 9 blocks, 0 bytes readable, 2 slow answers");
  EXPECT_EQ(verdict.where, "LBA 2048-2175, 4096-4223");
}

TEST(SlowAnswers, AreToldBesideWhatElseThereIs) {
  SurfaceResult result = Answered(2);
  result.end = SurfaceEnd::kTimeCap;
  sdk::Verdict verdict = words::SurfaceVerdict(result, 99, 30s, false);
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message, std::string(kSaid) + "._|TIME_IS_UP:_9_OF_99_BLOCKS_READ");
  result.bad.Add(7, EIO);
  verdict = words::SurfaceVerdict(result, 99, 30s, false);
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_TRUE(verdict.message.ends_with(std::string("_SECTORS_7._") + kSaid)) << verdict.message;
  EXPECT_EQ(verdict.where, "LBA 7");
}

TEST(SlowAnswers, LeaveWhatWasStoppedOrCouldNotBeTriedAsItIs) {
  for (const auto& [end, status] : {std::pair{SurfaceEnd::kStopped, kTestCanceled},
                                    std::pair{SurfaceEnd::kReaderLost, kTestInvalid},
                                    std::pair{SurfaceEnd::kHung, kTestFailed}}) {
    SurfaceResult result = Answered(1);
    result.end = end;
    const sdk::Verdict verdict = words::SurfaceVerdict(result, 9, 30s, false);
    EXPECT_EQ(verdict.status, status);
    EXPECT_NE(verdict.message.find("|SLOW_ANSWERS:_COUNT_1,"), std::string::npos);
    EXPECT_TRUE(verdict.found.ends_with(", 1 slow answer"));
  }
}

}  // namespace
}  // namespace orvan::storage
