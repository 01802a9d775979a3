#include "service/machine/block_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <set>
#include <thread>

#include "service/machine/reader_test_support.h"
#include "tests/support/faulty_block_reader.h"
#include "tests/support/file_server.h"
#include "tests/support/loop_device.h"
#include "tests/support/refusing_kernel.h"
#include "tests/support/stopped_thread.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_threads.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::BlockReaderOptions;
using sdk::kMostReadsInFlight;
using sdk::OpenedReader;
using sdk::OpenFailure;
using Clock = std::chrono::steady_clock;

BlockReaderOptions OptionsFor(const std::string& path) {
  BlockReaderOptions options;
  options.device = path;
  options.depth = 4;
  options.queued = 4;
  options.largestReadBytes = 8 * kSector;
  options.timeLimit = 5s;
  options.fileSectorBytes = kSector;
  return options;
}

// What opens readers, and how many of them were left behind.
struct Opener {
  std::shared_ptr<LeftBehindCount> left = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls{left};
  OpenedReader Open(const BlockReaderOptions& options, std::stop_token stop = {}) {
    return OpenBlockReader(calls, left, options, std::move(stop));
  }
};

bool Comes(const std::function<bool()>& condition) {
  for (const auto end = Clock::now() + 20s; Clock::now() < end && !condition();) {
    std::this_thread::yield();
  }
  return condition();
}

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

struct OpenCase {
  const char* name;
  std::function<BlockReaderOptions(const DiskFile&)> options;
  OpenFailure failure;
  int error;
};

class OpenFailures : public testing::TestWithParam<OpenCase> {};

TEST_P(OpenFailures, HaveTheirOwnAnswer) {
  const DiskFile file;
  const OpenedReader opened = Opener().Open(GetParam().options(file));
  EXPECT_EQ(opened.reader, nullptr);
  EXPECT_EQ(opened.failure, GetParam().failure);
  EXPECT_EQ(opened.error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenFailures,
    testing::Values(OpenCase{"missing",
                             [](const DiskFile&) { return OptionsFor("/dev/no-such-disk"); },
                             OpenFailure::kDevice, ENOENT},
                    OpenCase{"regular_file",
                             [](const DiskFile& file) {
                               BlockReaderOptions options = OptionsFor(file.Path());
                               options.fileSectorBytes = 0;
                               return options;
                             },
                             OpenFailure::kDevice, ENOTBLK},
                    OpenCase{"depth",
                             [](const DiskFile& file) {
                               BlockReaderOptions options = OptionsFor(file.Path());
                               options.depth = kMostReadsInFlight + 1;
                               return options;
                             },
                             OpenFailure::kReader, EINVAL},
                    OpenCase{"long_path",
                             [](const DiskFile&) { return OptionsFor(std::string(5000, 'x')); },
                             OpenFailure::kDevice, ENAMETOOLONG}),
    [](const auto& info) { return info.param.name; });

TEST(LiveBlockReader, ALinkIsNotFollowed) {
  const DiskFile file;
  const std::string link = file.Path() + ".link";
  ASSERT_EQ(symlink(file.Path().c_str(), link.c_str()), 0);
  const OpenedReader opened = Opener().Open(OptionsFor(link));
  unlink(link.c_str());
  EXPECT_EQ(opened.failure, OpenFailure::kDevice);
  EXPECT_EQ(opened.error, ELOOP);
}

TEST(LiveBlockReader, WithoutAThreadItIsOurOwnFault) {
  const DiskFile file;
  Opener opener;
  {
    const RefusedThreads refused;  // none to open it
    const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    EXPECT_EQ(opened.failure, OpenFailure::kReader);
    EXPECT_EQ(opened.error, EAGAIN);
  }
  EXPECT_EQ(opener.Open(OptionsFor(file.Path())).failure, OpenFailure::kNone);
  const RefusedThreads refused;  // none to read it
  const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
  EXPECT_EQ(opened.failure, OpenFailure::kReader);
  EXPECT_EQ(opened.error, EAGAIN);
  EXPECT_EQ(*opener.left, 0U);
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

// A pipe without a writer stands in for a device whose opening hangs.
TEST(LiveBlockReader, AnOpeningThatHangsEndsAtTheTimeLimit) {
  const std::string path =
      std::string(TARVEX_BINARY_DIR) + "/tests/pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  BlockReaderOptions options = OptionsFor(path);
  options.timeLimit = 100ms;
  Opener opener;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kHung);
  EXPECT_EQ(*opener.left, 1U);
  std::stop_source stop;
  stop.request_stop();
  options.timeLimit = 1h;
  EXPECT_EQ(opener.Open(options, stop.get_token()).failure, OpenFailure::kStopped);
  const tarvex::Descriptor writer(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  EXPECT_TRUE(Comes([&] { return *opener.left == 0; }));
  unlink(path.c_str());
}

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

TEST(LiveBlockReader, AKernelThatForbidsTheInterfaceIsNoFaultOfTheDevice) {
  const DiskFile file;
  WhereTheKernelRefuses({SYS_io_uring_setup, EPERM}, [&] {
    Opener opener;
    const OpenedReader opened = opener.Open(OptionsFor(file.Path()));
    EXPECT_EQ(opened.failure, OpenFailure::kReader);
    EXPECT_EQ(opened.error, EPERM);
  });
}

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

// The kernel gives a number that has become free to who comes next.
TEST(BlockReader, AnotherMediumUnderTheSameNumberIsNotRead) {
  if (!LoopDevice::CanBe()) GTEST_SKIP() << "needs root and /dev/loop-control";
  const TestFolder folder;
  folder.Write("before", std::string(kSectors * kSector, 'b'));
  folder.Write("after", std::string(kSectors * kSector, 'a'));
  LoopDevice device(folder / "before", kSector);
  BlockReaderOptions options = OptionsFor(device.Path());
  options.expectedDevice = NumberOf(device.Path());
  options.diskSequence = SequenceOf(device.Path());
  Opener opener;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kNone);
  ASSERT_TRUE(device.Exchange(folder / "after")) << "the loop device was taken";
  const OpenedReader opened = opener.Open(options);
  EXPECT_EQ(opened.failure, OpenFailure::kDevice);
  EXPECT_EQ(opened.error, ENODEV);
  options.diskSequence = 0;
  EXPECT_EQ(opener.Open(options).failure, OpenFailure::kNone);
}

}  // namespace
}  // namespace orvan::machine
