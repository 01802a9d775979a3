#include "service/modules/storage/failed_reads.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

struct Failures {
  std::vector<std::uint64_t> counted;  // the LBAs
  FailedReads reads{[this](const FailedRead& one) { counted.push_back(one.extent.lba); }};
};

FailedRead Sector(std::uint64_t lba, std::chrono::milliseconds when) {
  return {.id = lba, .extent = {lba, 1}, .error = 5, .when = when, .isSector = true};
}

FailedRead Block(std::uint64_t lba, std::chrono::milliseconds when, bool isVouched = false) {
  return {.id = lba, .extent = {lba, 8}, .error = 5, .when = when, .isVouched = isVouched};
}

using Lbas = std::vector<std::uint64_t>;

TEST(FailedReads, CountOnceTheDiskHasAnswered) {
  Failures failures;
  failures.reads.Suspect(Sector(3, 1s), 1s);
  failures.reads.Suspect(Block(8, 1s), 1s);
  EXPECT_TRUE(failures.counted.empty());
  EXPECT_EQ(failures.reads.SuspectSectors(), 1U);
  failures.reads.Vouch();
  EXPECT_EQ(failures.counted, (Lbas{3, 8}));
  EXPECT_EQ(failures.reads.SuspectSectors(), 0U);
  failures.reads.CountAll();
  EXPECT_EQ(failures.counted, (Lbas{3, 8}));
}

TEST(FailedReads, CountAtOnceWhereTheDiskHasAnsweredSince) {
  Failures failures;
  failures.reads.Suspect(Block(8, 1s, true), 2s);
  EXPECT_EQ(failures.counted, Lbas{8});
  failures.reads.CountAll();
  EXPECT_EQ(failures.counted, Lbas{8});
}

TEST(FailedReads, CountWhenTheDiskHasStayedForFiveSeconds) {
  Failures failures;
  failures.reads.Suspect(Sector(3, 1s), 1s);
  failures.reads.Suspect(Sector(4, 6s), 6s);
  EXPECT_TRUE(failures.counted.empty());
  failures.reads.Suspect(Sector(5, 6001ms), 6001ms);
  EXPECT_EQ(failures.counted, Lbas{3});
  EXPECT_EQ(failures.reads.SuspectSectors(), 2U);
}

TEST(FailedReads, OfTheLastFiveSecondsGoWithTheDisk) {
  Failures failures;
  failures.reads.Suspect(Sector(9, 1000ms), 1s);
  failures.reads.Suspect(Sector(7, 1001ms), 2s);
  failures.reads.blocks = {Block(16, 1000ms), Block(24, 1001ms), Block(32, 6s, true)};
  const FailedReads::LastMoment last = failures.reads.ForgetLastMoment(6001ms);
  EXPECT_EQ(last.reads, 2U);
  ASSERT_TRUE(last.oldest);
  EXPECT_EQ(last.oldest->id, 7U);
  failures.reads.CountAll();
  EXPECT_EQ(failures.counted, (Lbas{9, 16, 32}));
}

}  // namespace
}  // namespace orvan::storage
