#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "service/modules/storage/read_test_support.h"

// What holds of every test that reads a surface, in every diagnostic.
namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using machine::DiskFaults;
using sdk::OpenFailure;
using sdk::testing::FindTest;
using sdk::testing::RememberingContext;

class EveryTest : public testing::TestWithParam<NamedTest> {
 protected:
  sdk::Verdict RunOn(ReadBench& bench, sdk::ParameterValues parameters = {}) {
    return bench.Run(GetParam().first, GetParam().second, std::move(parameters));
  }
};

INSTANTIATE_TEST_SUITE_P(All, EveryTest, testing::ValuesIn(AllReadTests()),
                         [](const auto& info) { return info.param.first + info.param.second; });

TEST_P(EveryTest, PassesAGoodDiskAndEndsAt100Percent) {
  ReadBench bench;
  EXPECT_EQ(RunOn(bench).status, kTestPassed);
  EXPECT_EQ(bench.context->percents.front(), 0);
  EXPECT_EQ(bench.context->percents.back(), 100);
  EXPECT_EQ(bench.opened.device, "/dev/sdx");
  EXPECT_EQ(bench.opened.expectedDevice, sdk::DeviceNumber(8, 1));
  EXPECT_EQ(bench.opened.diskSequence, 29U);
  EXPECT_EQ(bench.opened.timeLimit, 30s);
}

TEST_P(EveryTest, KeepsAtMostAFewMebibytesInFlight) {
  for (const char* kib : {"4", "64", "1024", "4096"}) {
    ReadBench bench;
    RunOn(bench, {{"block_kib", kib}});
    EXPECT_GE(bench.opened.depth, 1U);
    EXPECT_LE(bench.opened.depth * std::uint64_t{bench.opened.largestReadBytes}, 4U << 20);
  }
}

// The value of the one measurement of this name; its limit and unit must be these.
double Measured(const ReadBench& bench, const std::string& name, const std::string& unit,
                bool hasLimit) {
  const auto& all = bench.context->measurements;
  const auto isNamed = [&](const sdk::Measurement& one) { return one.name == name; };
  EXPECT_EQ(std::count_if(all.begin(), all.end(), isNamed), 1) << name;
  const auto found = std::find_if(all.begin(), all.end(), isNamed);
  if (found == all.end()) return -1;
  EXPECT_EQ(found->unit, unit);
  EXPECT_EQ(found->limits.size(), hasLimit ? 1U : 0U);
  for (const sdk::Limit& limit : found->limits) {
    EXPECT_EQ(limit.kind, sdk::Limit::Kind::kEqual);
    EXPECT_EQ(limit.value, 0);
  }
  return found->value;
}

using Points = std::vector<std::pair<double, double>>;

// Of the one series of that name; empty: there is none.
Points PointsOf(const ReadBench& bench, const std::string& name) {
  Points points;
  for (const sdk::MeasurementSeries& series : bench.context->series) {
    if (series.name != name) continue;
    EXPECT_EQ(series.kind, sdk::MeasurementSeries::Kind::kRanges);
    EXPECT_TRUE(points.empty()) << "more than one series " << name;
    for (const auto& point : series.points) points.emplace_back(point.position, point.value);
  }
  return points;
}

TEST_P(EveryTest, MeasuresWhatItRead) {
  ReadBench bench;
  RunOn(bench, {{"first_lba", "128"}, {"last_lba", "1151"}, {"block_kib", "64"}});
  EXPECT_EQ(Measured(bench, "first-lba", "", false), 128);
  EXPECT_EQ(Measured(bench, "last-lba", "", false), 1151);
  EXPECT_EQ(Measured(bench, "bytes-read", "B", false), 524288);
  EXPECT_GT(Measured(bench, "read-rate", "B/s", false), 0);
  EXPECT_GT(Measured(bench, "slowest-answer", "s", false), 0);
  EXPECT_EQ(Measured(bench, "unreadable-sectors", "", true), 0);
  EXPECT_EQ(Measured(bench, "unreadable-blocks", "", true), 0);
}

TEST_P(EveryTest, MeasuresWhatItCouldNotRead) {
  DiskFaults faults;
  faults.badSectors = {{200, EIO}, {300, EIO}, {301, EIO}};
  ReadBench bench(faults);
  RunOn(bench, {{"first_lba", "128"}, {"last_lba", "1151"}, {"block_kib", "64"}});
  EXPECT_EQ(Measured(bench, "bytes-read", "B", false), 524288 - 2 * 65536);
  EXPECT_EQ(Measured(bench, "unreadable-sectors", "", true), 3);
  EXPECT_EQ(PointsOf(bench, "unreadable-ranges"), (Points{{200, 1}, {300, 2}}));
  EXPECT_EQ(PointsOf(bench, "slow-answers-at"), Points());
}

TEST_P(EveryTest, MeasuresWhereAnswersWereSlow) {
  DiskFaults faults;
  faults.slowSectors[5003] = 400ms;
  ReadBench bench(faults);
  RunOn(bench,
        {{"first_lba", "5000"}, {"last_lba", "5007"}, {"block_kib", "4"}, {"slow_ms", "300"}});
  const Points points = PointsOf(bench, "slow-answers-at");
  ASSERT_EQ(points.size(), 1U);
  EXPECT_EQ(points[0].first, 5000);
  EXPECT_GE(points[0].second, 0.4);
  EXPECT_LT(points[0].second, 1.4);
  EXPECT_EQ(PointsOf(bench, "unreadable-ranges"), Points());
}

TEST_P(EveryTest, FindsTheOneBadSectorOfARange) {
  DiskFaults faults;
  faults.badSectors = {{5003, ENODATA}};
  ReadBench bench(faults);
  const sdk::Verdict verdict = RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "5010"}});
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_5003,_COUNT_1,_ERROR_61_(CRITICAL_MEDIUM_ERROR),"
            "_SECTORS_5003");
  EXPECT_TRUE(std::count(bench.context->messages.begin(), bench.context->messages.end(),
                         "|UNREADABLE_SECTOR_AT_|L|B|A_5003") == 1);
}

TEST_P(EveryTest, ASurfaceThatAnswersLateIsNoPass) {
  DiskFaults faults;
  for (std::uint64_t sector = 0; sector < kSectors; ++sector) faults.slowSectors[sector] = 27s;
  ReadBench bench(faults);
  const sdk::Verdict verdict =
      RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "5007"}, {"block_kib", "4"}});
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(
      verdict.message.starts_with("|SLOW_ANSWERS:_COUNT_1,_SLOWEST_216.0_SECONDS_AT_"
                                  "|L|B|A_5000,_SECTORS_5000-5007"))
      << verdict.message;
  EXPECT_EQ(Measured(bench, "slow-answers", "", true), 1);
}

TEST_P(EveryTest, WhatCountsAsLateIsAParameter) {
  DiskFaults faults;
  faults.slowSectors[5003] = 400ms;
  for (const auto& [limit, status] :
       {std::pair{"300", kTestWarning}, std::pair{"600", kTestPassed}}) {
    ReadBench bench(faults);
    EXPECT_EQ(
        RunOn(bench,
              {{"first_lba", "5000"}, {"last_lba", "5007"}, {"block_kib", "4"}, {"slow_ms", limit}})
            .status,
        status);
  }
}

TEST_P(EveryTest, ReadsDisksOfAnySectorSize) {
  for (const std::uint32_t sectorBytes : {512U, 4096U, 8192U, 65536U}) {
    DiskFaults faults;
    faults.badSectors[1001] = EIO;
    ReadBench bench(faults, 2000, sectorBytes);
    const sdk::Verdict verdict = RunOn(bench, {{"first_lba", "1001"}, {"last_lba", "1002"}});
    EXPECT_EQ(verdict.status, kTestFailed) << sectorBytes;
    EXPECT_TRUE(verdict.message.ends_with("_SECTORS_1001")) << verdict.message;
    for (const auto& read : bench.submitted) {
      EXPECT_EQ(read.offsetBytes % sectorBytes, 0U);
      EXPECT_EQ(read.sizeBytes % sectorBytes, 0U);
      EXPECT_LE(read.offsetBytes + read.sizeBytes, std::uint64_t{1003} * sectorBytes);
    }
  }
}

TEST_P(EveryTest, ReadsOnlyInsideTheRange) {
  ReadBench bench;
  RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "9999"}});
  ASSERT_FALSE(bench.submitted.empty());
  for (const sdk::BlockRead& read : bench.submitted) {
    EXPECT_GE(read.offsetBytes, 5000U * 512);
    EXPECT_LE(read.offsetBytes + read.sizeBytes, 10000U * 512);
  }
}

TEST_P(EveryTest, AStopIsCanceled) {
  ReadBench bench;
  bench.context = std::make_unique<RememberingContext>(&bench.disk);
  bench.context->stop.request_stop();
  const auto& test = FindTest(bench.diagnostics, GetParam().first, GetParam().second);
  EXPECT_EQ(test.run(*bench.context).status, kTestCanceled);
}

TEST_P(EveryTest, ADiskWithoutCapacityIsNotApplicable) {
  ReadBench bench({}, 0);
  const sdk::Verdict verdict = RunOn(bench);
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, "|THE_DISK_HAS_NO_CAPACITY");
}

TEST_P(EveryTest, ADiskThatMayNotBeOpenedIsInvalid) {
  ReadBench bench;
  bench.failure = {nullptr, OpenFailure::kDevice, EACCES};
  EXPECT_EQ(RunOn(bench).status, kTestInvalid);
}

TEST_P(EveryTest, ThePseudoDeviceIsNotApplicable) {
  ReadBench bench;
  RememberingContext context(nullptr);
  const auto& test = FindTest(bench.diagnostics, GetParam().first, GetParam().second);
  EXPECT_EQ(test.run(context).status, kTestNotApplicable);
}

TEST_P(EveryTest, ValuesThatDoNotFitAreInvalidAndNamed) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"block_kib", "3"},     {"block_kib", "4097"}, {"block_kib", ""},
      {"block_kib", "64k"},   {"first_lba", "-1"},   {"first_lba", "100000"},
      {"last_lba", "100000"}, {"seconds", "604801"}, {"last_lba", "99999999999999999999"},
  };
  for (const auto& [name, value] : wrong) {
    ReadBench bench;
    const sdk::Verdict verdict = RunOn(bench, {{name, value}});
    EXPECT_EQ(verdict.status, kTestInvalid) << name << '=' << value;
    EXPECT_EQ(verdict.message, "|INVALID_VALUE_OF_PARAMETER_" + name);
  }
  ReadBench bench;
  EXPECT_EQ(RunOn(bench, {{"first_lba", "10"}, {"last_lba", "9"}}).status, kTestInvalid);
}

TEST_P(EveryTest, ABlockThatIsNoMultipleOfTheSectorIsInvalid) {
  for (const char* kib : {"4", "12"}) {
    ReadBench bench({}, 1000, 8192);
    const sdk::Verdict verdict = RunOn(bench, {{"block_kib", kib}});
    EXPECT_EQ(verdict.status, kTestInvalid);
    EXPECT_EQ(verdict.message, "|INVALID_VALUE_OF_PARAMETER_block_kib");
  }
  ReadBench bench({}, 1000, 8192);
  EXPECT_EQ(RunOn(bench, {{"block_kib", "8"}}).status, kTestPassed);
}

}  // namespace
}  // namespace orvan::storage
