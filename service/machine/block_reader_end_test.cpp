#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>

#include "service/machine/reader_test_support.h"
#include "tests/support/file_server.h"
#include "tests/support/refusing_kernel.h"
#include "tests/support/stopped_thread.h"
#include "tests/support/test_threads.h"

// Readers whose device, kernel or thread does not answer, and what is left of them.

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::BlockRead;
using sdk::BlockReader;
using sdk::BlockReaderOptions;
using sdk::BlockReadResult;
using sdk::OpenedReader;
using sdk::OpenFailure;
using sdk::ReaderState;
using sdk::ReadOutcome;
using Clock = std::chrono::steady_clock;

// A kernel short of memory for long, one that overflows, and one that refuses for good, also with
// errors that would mean a bad sector or a vanished device had the device said them.
class RefusedSubmission : public testing::TestWithParam<int> {};

TEST_P(RefusedSubmission, IsAnsweredAsNotTriedWithItsErrorAndNotAsSilence) {
  const DiskFile file;
  WhereTheKernelRefuses({SYS_io_uring_enter, GetParam()}, [&] {
    Opener opener;
    OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    ASSERT_EQ(opened.failure, OpenFailure::kNone) << "error " << opened.error;
    std::vector<BlockRead> reads;
    for (std::uint64_t id = 0; id < 8; ++id) reads.push_back({id, id * kSector, kSector, 0});
    opened.reader->Submit(reads);
    std::vector<BlockReadResult> results;
    while (results.size() < reads.size()) {
      ASSERT_EQ(opened.reader->Collect(results, 1000ms), ReaderState::kWorking);
    }
    opened.reader->Submit({{8, 0, kSector, 0}});
    while (results.size() < 9) {
      ASSERT_EQ(opened.reader->Collect(results, 1000ms), ReaderState::kWorking);
    }
    for (const BlockReadResult& result : results) {
      EXPECT_EQ(result.outcome, ReadOutcome::kNotTried);
      EXPECT_EQ(result.error, GetParam());
    }
  });
}

INSTANTIATE_TEST_SUITE_P(All, RefusedSubmission,
                         testing::Values(EAGAIN, ENOMEM, EBUSY, EPERM, EIO, ENODATA, ENODEV,
                                         ENXIO));

// The one thread that reads is stopped, as by a debugger, or starved.
class StoppedReader : public testing::Test {
 protected:
  void Open(std::chrono::milliseconds stallLimit) {
    BlockReaderOptions options = OptionsFor(file_.Path());
    options.timeLimit = 100ms;
    options.stallLimit = stallLimit;
    opener_.calls.Run([] {}, {});  // its thread is there by then
    const std::set<pid_t> before = ThreadsOfOurs();
    reader_ = opener_.Open(options).reader;
    ASSERT_NE(reader_, nullptr);
    std::vector<pid_t> made;
    for (const pid_t thread : ThreadsOfOurs()) {
      if (!before.contains(thread)) made.push_back(thread);
    }
    ASSERT_EQ(made.size(), 1U);
    stopped_.emplace(made[0]);
    reader_->Submit({{1, 0, kSector, 0}, {2, kSector, kSector, 0}});
  }
  ReaderState Collect(std::chrono::milliseconds time) {
    ReaderState state = ReaderState::kWorking;
    const auto end = Clock::now() + time;
    while (state == ReaderState::kWorking && results_.size() < 2 && Clock::now() < end) {
      state = reader_->Collect(results_, 100ms);
    }
    return state;
  }
  DiskFile file_;
  Opener opener_;
  std::unique_ptr<BlockReader> reader_;
  std::optional<StoppedThread> stopped_;
  std::vector<BlockReadResult> results_;
};

TEST_F(StoppedReader, IsWaitedForAndItsReadsCountForNothingLess) {
  Open(60s);
  // Longer than the time limit of a read and all grace for a reader that hangs.
  EXPECT_EQ(Collect(3500ms), ReaderState::kWorking);
  EXPECT_TRUE(results_.empty());
  stopped_.reset();
  EXPECT_EQ(Collect(30s), ReaderState::kWorking);
  ASSERT_EQ(results_.size(), 2U);
  for (const auto& result : results_) EXPECT_EQ(result.outcome, ReadOutcome::kRead);
}

TEST_F(StoppedReader, ThatNeverComesBackIsOurOwnFaultAndLeftBehind) {
  Open(500ms);
  EXPECT_EQ(Collect(30s), ReaderState::kStalled);
  const auto start = Clock::now();
  reader_.reset();
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(*opener_.left, 1U);
  stopped_.reset();
  EXPECT_TRUE(Comes([&] { return *opener_.left == 0; }));
}

// A file whose reads hang in the kernel.
class HangingReader : public testing::Test {
 protected:
  void SetUp() override {
    if (!FileServer::CanServe()) GTEST_SKIP() << "needs root and /dev/fuse";
    server_.emplace("faulty_disk", "disk", std::to_string(kSectors * kSector));
    server_->Command("hang 0 8");
  }
  void TearDown() override {
    if (server_) server_->Command("resume");
  }
  void Open(std::chrono::milliseconds timeLimit) {
    BlockReaderOptions options = OptionsFor(server_->Path());
    options.timeLimit = timeLimit;
    reader_ = opener_.Open(options).reader;
    ASSERT_NE(reader_, nullptr);
  }

  std::optional<FileServer> server_;
  Opener opener_;
  std::unique_ptr<BlockReader> reader_;
  std::vector<BlockReadResult> results_;
};

TEST_F(HangingReader, AnswersAtTheTimeLimitAndReadsTheRest) {
  Open(300ms);
  reader_->Submit({{1, 0, kSector, 0}, {2, kSector, kSector, 0}});
  while (results_.size() < 2) {
    ASSERT_EQ(reader_->Collect(results_, 1000ms), ReaderState::kWorking);
  }
  EXPECT_EQ(results_[0].id, 2U);
  EXPECT_EQ(results_[0].outcome, ReadOutcome::kRead);
  EXPECT_EQ(results_[1].id, 1U);
  EXPECT_EQ(results_[1].outcome, ReadOutcome::kTimedOut);
  EXPECT_GE(results_[1].ended - results_[1].begun, 300ms);
  EXPECT_LT(results_[0].ended - results_[0].begun, 300ms);
}

TEST_F(HangingReader, ItsEndWaitsForNoReadAndLeavesItsThreadBehind) {
  Open(1h);
  reader_->Submit({{1, 0, kSector, 0}});
  server_->Command("wait");
  const auto start = Clock::now();
  reader_.reset();
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(*opener_.left, 1U);
  server_->Command("resume");
  EXPECT_TRUE(Comes([&] { return *opener_.left == 0; }));
}

TEST(LiveBlockReader, ItsEndLeavesNothingBehindWhenTheDeviceAnswers) {
  const DiskFile file;
  Opener opener;
  opener.calls.Run([] {}, {});
  const std::set<pid_t> before = ThreadsOfOurs();
  for (int round = 0; round < 20; ++round) {
    OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    ASSERT_NE(opened.reader, nullptr);
    opened.reader->Submit({{1, 0, 8 * kSector, 0}, {2, 8 * kSector, 8 * kSector, 0}});
  }
  // Threads of earlier tests may end meanwhile; none of ours may stay.
  EXPECT_TRUE(Comes([&] {
    const std::set<pid_t> now = ThreadsOfOurs();
    return *opener.left == 0 && std::includes(before.begin(), before.end(), now.begin(), now.end());
  }));
}

}  // namespace
}  // namespace orvan::machine
