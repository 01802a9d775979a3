#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "service/modules/storage/read_test_support.h"

// What the performance test makes of its two halves: the places, and the times of random reads.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kGib = 2U << 20;  // sectors

sdk::ParameterValues Small(sdk::ParameterValues values = {}) {
  values.insert({{"block_kib", "256"}, {"spot_mib", "4"}, {"reads", "200"}});
  return values;
}

// A disk of 1 GiB, each opening of which is counted and may come with faults of its own.
struct Halves : ReadBench {
  explicit Halves(std::uint64_t sectors = kGib, std::uint32_t sectorBytes = 512)
      : ReadBench({}, sectors, sectorBytes) {
    onOpen = [this] {
      options.push_back(opened);
      faults =
          options.size() <= faultsOf.size() ? faultsOf[options.size() - 1] : machine::DiskFaults{};
    };
  }
  sdk::Verdict Go(sdk::ParameterValues values = Small()) {
    return Run("E", "p", std::move(values));
  }
  bool Has(const char* measurement) const {
    for (const sdk::Measurement& one : context->measurements) {
      if (one.name == measurement) return true;
    }
    return false;
  }
  // The first sector that is read at random.
  static std::uint64_t FirstRandomSector() {
    Halves sound;
    sound.Go();
    return sound.submitted.front().offsetBytes / 512;
  }

  std::vector<machine::DiskFaults> faultsOf;
  std::vector<sdk::BlockReaderOptions> options;
};

machine::DiskFaults Bad(std::uint64_t sector) {
  machine::DiskFaults faults;
  faults.badSectors[sector] = EIO;
  return faults;
}

machine::DiskFaults Slow(std::uint64_t sector) {
  machine::DiskFaults faults;
  faults.slowSectors[sector] = 4s;
  return faults;
}

TEST(PerformanceParts, ItsParametersEndWhereTheyShould) {
  struct Row {
    const char* name;
    const char* below;
    const char* least;
    const char* most;
    const char* above;
  };
  for (const Row& row :
       {Row{"spot_mib", "0", "1", "1024", "1025"}, Row{"reads", "0", "1", "65536", "65537"},
        Row{"least_mibs", "-1", "0", "1000000", "1000001"}}) {
    for (const char* value : {row.least, row.most}) {
      Halves halves(100000);
      EXPECT_NE(halves.Go({{row.name, value}}).status, kTestInvalid) << row.name << value;
    }
    for (const char* value : {row.below, row.above}) {
      Halves halves(100000);
      EXPECT_EQ(halves.Go({{row.name, value}}).status, kTestInvalid) << row.name << value;
    }
  }
}

TEST(PerformanceParts, FourBlocksInARowThenOneReadAtATime) {
  Halves halves;
  halves.Go();
  ASSERT_EQ(halves.options.size(), 2U);
  EXPECT_EQ(halves.options[0].depth, 4U);
  EXPECT_EQ(halves.options[0].queued, 4U);
  EXPECT_EQ(halves.options[0].largestReadBytes, 256U << 10);
  EXPECT_EQ(halves.options[1].depth, 1U);
  EXPECT_EQ(halves.options[1].queued, 1U);
}

TEST(PerformanceParts, APlaceIsAsLargeAsToldAndAtLeastOneBlock) {
  for (const char* blockKib : {"4", "256", "4096"}) {
    Halves halves;
    halves.Go(Small({{"block_kib", blockKib}}));
    EXPECT_EQ(halves.context->Measured("bytes-read").value, 128 << 20) << blockKib;
  }
  Halves halves;
  halves.Go(Small({{"block_kib", "4096"}, {"spot_mib", "1"}}));
  EXPECT_EQ(halves.context->Measured("bytes-read").value, 128 << 20);
}

TEST(PerformanceParts, NoRandomReadIsSmallerThanASector) {
  Halves halves(kGib / 16, 8192);
  halves.Go();
  EXPECT_EQ(halves.options[1].largestReadBytes, 8192U);
}

TEST(PerformanceParts, ThePlacesBeginWithTheRangeAndEndWithIt) {
  Halves halves;
  halves.eachLook = 10ms;
  halves.Go(Small({{"block_kib", "1024"}, {"first_lba", "4096"}}));
  const auto& points = halves.context->series.at(1).points;
  ASSERT_EQ(points.size(), 32U);
  EXPECT_EQ(points.front().position, 4096);
  EXPECT_EQ(points.back().position, kGib - 4 * 2048);
}

// Where one ends the next begins, and what is told in between depends on the time.
TEST(PerformanceParts, EachHasItsShareOfTheProgress) {
  Halves halves;
  halves.Go(Small({{"least_mibs", "1000000"}}));
  const std::vector<int>& percents = halves.context->percents;
  EXPECT_EQ(percents.front(), 0);
  for (const int percent : {45, 80, 100}) {
    EXPECT_GE(std::count(percents.begin(), percents.end(), percent), 2) << percent;
  }
}

TEST(PerformanceParts, APlaceThatCannotBeReadFailsAndNothingElseIsTried) {
  Halves halves;
  halves.faultsOf = {Bad(5)};
  const sdk::Verdict verdict = halves.Go();
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.where, "LBA 5");
  EXPECT_EQ(halves.options.size(), 1U);
}

TEST(PerformanceParts, ARandomReadThatFailedHasNoTimeAndFails) {
  const std::uint64_t sector = Halves::FirstRandomSector();
  Halves halves;
  halves.eachLook = 1ms;
  halves.faultsOf = {{}, Bad(sector)};
  const sdk::Verdict verdict = halves.Go(Small({{"least_mibs", "1000000"}}));
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.where, "LBA " + std::to_string(sector));
  EXPECT_EQ(halves.options.size(), 2U);
  EXPECT_FALSE(halves.Has("outer-read-rate"));
  ASSERT_EQ(halves.context->series.size(), 2U);
  const sdk::MeasurementSeries& bad = halves.context->series[0];
  EXPECT_EQ(bad.name, "random-unreadable-ranges");
  EXPECT_EQ(bad.points.at(0).position, static_cast<double>(sector));
  double counted = 0;
  for (const auto& point : halves.context->series[1].points) counted += point.value;
  EXPECT_EQ(counted, 199);
}

TEST(PerformanceParts, WithoutATimeOfARandomReadThereIsNoPercentile) {
  Halves halves;
  halves.faultsOf.resize(2);
  halves.faultsOf[1].failuresLeft[Halves::FirstRandomSector()] = 1;
  const sdk::Verdict verdict = halves.Go(Small({{"reads", "1"}}));
  EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
  EXPECT_FALSE(halves.Has("random-read-median"));
  EXPECT_FALSE(halves.Has("random-read-slowest"));
}

TEST(PerformanceParts, TheTimesOfRandomReadsAreGivenByTheNearestRank) {
  Halves order;
  order.Go(Small({{"reads", "1000"}}));
  ASSERT_EQ(order.submitted.size(), 1000U);
  // 0.1, 0.2, ... 100 seconds.
  Halves halves;
  halves.faultsOf.resize(2);
  std::chrono::milliseconds delay{};
  for (const sdk::BlockRead& read : order.submitted) {
    halves.faultsOf[1].slowSectors[read.offsetBytes / 512] = delay += 100ms;
  }
  halves.Go(Small({{"reads", "1000"}, {"slow_ms", "600000"}}));
  const auto measured = [&](const char* name) { return halves.context->Measured(name).value; };
  EXPECT_NEAR(measured("random-read-median"), 50, 0.05);
  EXPECT_NEAR(measured("random-read-95-percent"), 95, 0.05);
  EXPECT_NEAR(measured("random-read-99-percent"), 99, 0.05);
  EXPECT_NEAR(measured("random-read-99.9-percent"), 99.9, 0.05);
  EXPECT_NEAR(measured("random-read-slowest"), 100, 0.05);
}

TEST(PerformanceParts, ASecondReadThatFailsFails) {
  Halves halves;
  halves.faultsOf = {{}, {}, Bad(5)};
  const sdk::Verdict verdict = halves.Go(Small({{"least_mibs", "1000000"}}));
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.where, "LBA 5");
  EXPECT_FALSE(halves.Has("outer-read-rate"));
}

TEST(PerformanceParts, AWarningOfEitherCountsAndBothAreTold) {
  const std::uint64_t sector = Halves::FirstRandomSector();
  const std::string random = "LBA " + std::to_string(sector) + '-' + std::to_string(sector + 7);
  Halves one;
  one.faultsOf = {{}, Slow(sector)};
  sdk::Verdict verdict = one.Go();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(verdict.message.starts_with("|SLOW_ANSWERS:_COUNT_1,")) << verdict.message;
  EXPECT_EQ(verdict.where, random);
  Halves both;
  both.faultsOf = {Slow(5), Slow(sector)};
  verdict = both.Go();
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_NE(verdict.message.find("SECTORS_0-511._|SLOW_ANSWERS:_COUNT_1,"), std::string::npos)
      << verdict.message;
  EXPECT_EQ(verdict.found,
            "512 of 512 blocks, 134217728 bytes readable, 1 slow answer; 200 of 200 blocks, 819200 "
            "bytes readable, 1 slow answer");
  EXPECT_EQ(verdict.where, "LBA 0-511; " + random);
}

TEST(PerformanceParts, OfTooSmallARangeThereAreNoRates) {
  Halves halves(100000);
  EXPECT_EQ(halves.Go({{"reads", "9"}}).status, kTestPassed);
  EXPECT_FALSE(halves.Has("outer-read-rate"));
  const sdk::Verdict verdict = halves.Go({{"reads", "9"}, {"least_mibs", "1"}});
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(verdict.message.starts_with("|TOO_LITTLE_WAS_READ_")) << verdict.message;
}

TEST(PerformanceParts, TheLeastRateThatMayBeWantedIsALimitOfEachRegion) {
  Halves halves;
  halves.eachLook = 10ms;
  EXPECT_EQ(halves.Go(Small({{"least_mibs", "1"}})).status, kTestPassed);
  for (const char* name : {"outer-read-rate", "middle-read-rate", "inner-read-rate"}) {
    ASSERT_EQ(halves.context->Measured(name).limits.size(), 1U);
    EXPECT_EQ(halves.context->Measured(name).limits[0].value, 1 << 20);
  }
}

TEST(PerformanceParts, WhereTheEndWasNotReachedNoRatioIsMeasured) {
  Halves halves;
  halves.eachLook = 400ms;
  halves.Go(Small({{"seconds", "19"}}));  // about 12 of the places
  EXPECT_TRUE(halves.Has("outer-read-rate"));
  EXPECT_FALSE(halves.Has("inner-read-rate"));
  EXPECT_FALSE(halves.Has("inner-to-outer"));
}

TEST(PerformanceParts, ADriveThatRotatesIsHeldToItsShape) {
  DiskFacts facts = MakeDisk().Facts();
  facts.isRotating = true;
  facts.transport = Transport::kSata;
  machine::DiskFaults crawling;
  for (std::uint64_t sector = kGib / 8 * 7; sector < kGib; sector += 512) {
    crawling.slowSectors[sector] = 100ms;
  }
  for (const char* reads : {"1", "200"}) {
    Halves halves;
    halves.disk = Disk("0", facts, true);
    halves.eachLook = 10ms;
    halves.faultsOf = {crawling, {}, crawling};
    const sdk::Verdict verdict = halves.Go(Small({{"reads", reads}}));
    EXPECT_EQ(verdict.status, kTestWarning);
    EXPECT_TRUE(verdict.message.ends_with(",_WHICH_NO_SOUND_DRIVE_OF_ITS_KIND_DOES"))
        << verdict.message;
    EXPECT_LT(halves.context->Measured("inner-to-outer").value, 0.3);
    EXPECT_EQ(halves.options.size(), 3U);
  }
}

}  // namespace
}  // namespace orvan::storage
