#include "service/machine/block_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

#include "service/machine/helper_protocol.h"
#include "service/machine/reader_test_support.h"
#include "tests/support/faulty_block_reader.h"
#include "tests/support/refusing_kernel.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;

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

class BlockReaderContract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "faulty") {
      reader_ = std::make_unique<FaultyBlockReader>(
          BlockGeometry{kSectors * kSector, kSector, kSector}, DiskFaults{}, 4);
      return;
    }
    OpenedReader opened = OpenBlockReader(HelperPath(), OptionsFor(file_.Path()), {});
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

TEST_P(BlockReaderContract, CollectWithoutReadsGivesNothing) {
  std::vector<BlockReadResult> results;
  EXPECT_EQ(reader_->Collect(results, 1ms), ReaderState::kWorking);
  EXPECT_TRUE(results.empty());
}

INSTANTIATE_TEST_SUITE_P(All, BlockReaderContract, testing::Values("live", "faulty"),
                         [](const auto& info) { return info.param; });

TEST(LiveBlockReader, AReadPastAFileThatShrankFails) {
  const DiskFile file;
  OpenedReader opened = OpenBlockReader(HelperPath(), OptionsFor(file.Path()), {});
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
  const OpenedReader opened = OpenBlockReader(HelperPath(), GetParam().options(file), {});
  EXPECT_EQ(opened.reader, nullptr);
  EXPECT_EQ(opened.failure, GetParam().failure);
  EXPECT_EQ(opened.error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    All, OpenFailures,
    testing::Values(
        OpenCase{"missing", [](const DiskFile&) { return OptionsFor("/dev/no-such-disk"); },
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
                 [](const DiskFile&) { return OptionsFor(std::string(kPathBytes, 'x')); },
                 OpenFailure::kReader, EINVAL}),
    [](const auto& info) { return info.param.name; });

TEST(LiveBlockReader, ALinkIsNotFollowed) {
  const DiskFile file;
  const std::string link = file.Path() + ".link";
  ASSERT_EQ(symlink(file.Path().c_str(), link.c_str()), 0);
  const OpenedReader opened = OpenBlockReader(HelperPath(), OptionsFor(link), {});
  unlink(link.c_str());
  EXPECT_EQ(opened.failure, OpenFailure::kDevice);
  EXPECT_EQ(opened.error, ELOOP);
}

TEST(LiveBlockReader, AMissingHelperIsOurOwnFault) {
  const DiskFile file;
  const OpenedReader opened = OpenBlockReader("/no/such/helper", OptionsFor(file.Path()), {});
  EXPECT_EQ(opened.failure, OpenFailure::kReader);
  EXPECT_EQ(opened.error, ENOENT);
}

// A pipe without a writer stands in for a device whose opening hangs.
TEST(LiveBlockReader, AnOpeningThatHangsEndsAtTheTimeLimit) {
  const std::string path =
      std::string(TARVEX_BINARY_DIR) + "/tests/pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  BlockReaderOptions options = OptionsFor(path);
  options.timeLimit = 100ms;
  EXPECT_EQ(OpenBlockReader(HelperPath(), options, {}).failure, OpenFailure::kHung);
  std::stop_source stop;
  stop.request_stop();
  options.timeLimit = 1h;
  EXPECT_EQ(OpenBlockReader(HelperPath(), options, stop.get_token()).failure,
            OpenFailure::kStopped);
  unlink(path.c_str());
}

// A kernel short of memory for long, one that overflows, and one that refuses for good, also with
// errors that would mean a bad sector or a vanished device had the device said them.
class RefusedSubmission : public testing::TestWithParam<int> {};

TEST_P(RefusedSubmission, IsAnsweredAsNotTriedWithItsErrorAndNotAsSilence) {
  const DiskFile file;
  WhereTheKernelRefuses({SYS_io_uring_enter, GetParam()}, [&] {
    OpenedReader opened = OpenBlockReader(HelperPath(), OptionsFor(file.Path()), {});
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
    const OpenedReader opened = OpenBlockReader(HelperPath(), OptionsFor(file.Path()), {});
    EXPECT_EQ(opened.failure, OpenFailure::kReader);
    EXPECT_EQ(opened.error, EPERM);
  });
}

// The process ids of our children that run the helper.
std::vector<pid_t> Helpers() {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "stat");
    std::string id, name, state, parent;
    if (file >> id >> name >> state >> parent && parent == std::to_string(getpid()) &&
        name == "(orvan-block-rea)") {
      found.push_back(std::stoi(id));
    }
  }
  return found;
}

class StoppedHelper : public testing::Test {
 protected:
  void Open(std::chrono::milliseconds stallLimit) {
    BlockReaderOptions options = OptionsFor(file_.Path());
    options.timeLimit = 100ms;
    options.stallLimit = stallLimit;
    reader_ = OpenBlockReader(HelperPath(), options, {}).reader;
    ASSERT_NE(reader_, nullptr);
    ASSERT_EQ(Helpers().size(), 1U);
    helper_ = Helpers().front();
    ASSERT_EQ(kill(helper_, SIGSTOP), 0);
    reader_->Submit({{1, 0, kSector, 0}, {2, kSector, kSector, 0}});
  }
  ReaderState Collect(std::chrono::milliseconds time) {
    ReaderState state = ReaderState::kWorking;
    const auto end = std::chrono::steady_clock::now() + time;
    while (state == ReaderState::kWorking && results_.size() < 2 &&
           std::chrono::steady_clock::now() < end) {
      state = reader_->Collect(results_, 100ms);
    }
    return state;
  }
  DiskFile file_;
  std::unique_ptr<BlockReader> reader_;
  pid_t helper_ = -1;
  std::vector<BlockReadResult> results_;
};

TEST_F(StoppedHelper, IsWaitedForAndItsReadsCountForNothingLess) {
  Open(60s);
  // Longer than the time limit of a read and all grace for a helper that hangs.
  EXPECT_EQ(Collect(3500ms), ReaderState::kWorking);
  EXPECT_TRUE(results_.empty());
  ASSERT_EQ(kill(helper_, SIGCONT), 0);
  EXPECT_EQ(Collect(30s), ReaderState::kWorking);
  ASSERT_EQ(results_.size(), 2U);
  for (const auto& result : results_) EXPECT_EQ(result.outcome, ReadOutcome::kRead);
}

TEST_F(StoppedHelper, ThatNeverComesBackIsOurOwnFault) {
  Open(500ms);
  EXPECT_EQ(Collect(30s), ReaderState::kStalled);
}

}  // namespace
}  // namespace orvan::machine
