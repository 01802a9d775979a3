#include "service/machine/block_reader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "service/machine/reader_test_support.h"
#include "tests/support/faulty_block_reader.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::OpenedReader;
using sdk::OpenFailure;

class BlockReaderContract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "faulty") {
      reader_ = std::make_unique<FaultyBlockReader>(
          BlockGeometry{kSectors * kSector, kSector, kSector}, DiskFaults{}, 4);
      return;
    }
    OpenedReader opened = opener_.Open(OptionsFor(file_.Path()));
    ASSERT_EQ(opened.failure, OpenFailure::kNone) << "error " << opened.error;
    reader_ = std::move(opened.reader);
  }

  std::vector<BlockReadResult> CollectAll(std::size_t count) {
    std::vector<BlockReadResult> results;
    while (results.size() < count) {
      if (reader_->Collect(results, 1000ms) != ReaderState::kWorking) break;
    }
    return results;
  }

  DiskFile file_;
  Opener opener_;
  std::unique_ptr<BlockReader> reader_;
};

TEST_P(BlockReaderContract, TellsTheGeometry) {
  EXPECT_EQ(reader_->Geometry().sizeBytes, kSectors * kSector);
  EXPECT_EQ(reader_->Geometry().logicalSectorBytes, kSector);
  EXPECT_EQ(reader_->Capacity(), 8U);
}

TEST_P(BlockReaderContract, AnswersEveryReadOnce) {
  std::vector<std::uint64_t> ids;
  for (std::uint64_t round = 0; round < 20; ++round) {
    std::vector<BlockRead> reads;
    for (std::uint64_t i = 0; i < 8; ++i) {
      reads.push_back({round * 8 + i, (round * 8 + i) * kSector, kSector, 0});
    }
    reader_->Submit(reads);
    for (const BlockReadResult& result : CollectAll(8)) {
      EXPECT_EQ(result.outcome, ReadOutcome::kRead);
      ids.push_back(result.id);
    }
  }
  std::sort(ids.begin(), ids.end());
  ASSERT_EQ(ids.size(), 160U);
  for (std::uint64_t i = 0; i < ids.size(); ++i) EXPECT_EQ(ids[i], i);
}

TEST_P(BlockReaderContract, ReadsTheLastSectorAndTheLargestBlock) {
  reader_->Submit(
      {{7, (kSectors - 1) * kSector, kSector, 0}, {8, (kSectors - 8) * kSector, 8 * kSector, 0}});
  const auto results = CollectAll(2);
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[0].outcome, ReadOutcome::kRead);
  EXPECT_EQ(results[1].outcome, ReadOutcome::kRead);
}

TEST_P(BlockReaderContract, TellsWhenEachReadWasAtTheDevice) {
  std::chrono::nanoseconds last{};
  for (std::uint64_t round = 0; round < 3; ++round) {
    reader_->Submit({{0, 0, kSector, 0}, {1, kSector, kSector, 0}});
    const std::chrono::nanoseconds before = last;
    for (const BlockReadResult& result : CollectAll(2)) {
      EXPECT_GE(result.begun, before);
      EXPECT_LE(result.begun, result.ended);
      EXPECT_GE(result.ended, last);
      last = result.ended;
    }
  }
  EXPECT_TRUE(last.count() > 0 || GetParam() == "faulty");
}

TEST_P(BlockReaderContract, CollectWithoutReadsGivesNothing) {
  std::vector<BlockReadResult> results;
  EXPECT_EQ(reader_->Collect(results, 1ms), ReaderState::kWorking);
  EXPECT_TRUE(results.empty());
}

INSTANTIATE_TEST_SUITE_P(All, BlockReaderContract, testing::Values("live", "faulty"),
                         [](const auto& info) { return info.param; });

TEST(LiveBlockReader, AReadPastAFileThatShrankFails) {
  const DiskFile file;
  Opener opener;
  OpenedReader opened = opener.Open(OptionsFor(file.Path()));
  ASSERT_EQ(opened.failure, OpenFailure::kNone);
  ASSERT_EQ(truncate(file.Path().c_str(), kSector), 0);
  opened.reader->Submit({{1, 0, 2 * kSector, 0}, {2, 4 * kSector, kSector, 0}, {3, 0, kSector, 0}});
  std::vector<BlockReadResult> results;
  while (results.size() < 3) {
    ASSERT_EQ(opened.reader->Collect(results, 1000ms), ReaderState::kWorking);
  }
  for (const BlockReadResult& result : results) {
    EXPECT_EQ(result.outcome, result.id == 3 ? ReadOutcome::kRead : ReadOutcome::kFailed);
    EXPECT_EQ(result.error, result.id == 3 ? 0 : EIO);
  }
}

// Reads that no caller may ask for are answered each, and spoil nothing.
TEST(LiveBlockReader, WhatIsNoReadOfTheDeviceIsNotTried) {
  const DiskFile file;
  Opener opener;
  const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
  ASSERT_NE(opened.reader, nullptr);
  opened.reader->Submit({{1, (kSectors - 1) * kSector, 2 * kSector, 0},
                         {2, ~std::uint64_t{0} - kSector + 1, kSector, 0},
                         {3, kSectors * kSector, kSector, 0},
                         {4, 512, kSector, 0},
                         {5, 0, kSector - 512, 0},
                         {6, 0, 9 * kSector, 0},
                         {7, 0, 0, 0},
                         {8, 0, kSector, 0}});
  std::vector<BlockReadResult> results;
  while (results.size() < 8) {
    ASSERT_EQ(opened.reader->Collect(results, 1000ms), ReaderState::kWorking);
  }
  for (const BlockReadResult& result : results) {
    EXPECT_EQ(result.outcome, result.id == 8 ? ReadOutcome::kRead : ReadOutcome::kNotTried);
    EXPECT_EQ(result.error, result.id == 8 ? 0 : EINVAL) << result.id;
  }
}

}  // namespace
}  // namespace orvan::machine
