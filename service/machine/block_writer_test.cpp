#include "service/machine/block_writer.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/swap.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <thread>

#include "service/machine/machine_files.h"
#include "tests/support/file_server.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::BlockWriterOptions;
using sdk::OpenedWriter;
using sdk::TransferResult;
using sdk::WriteRefusal;
using Bytes = std::vector<std::byte>;
using Clock = std::chrono::steady_clock;
using Outcome = TransferResult::Outcome;

constexpr std::size_t kBytes = 4U << 20;

void ExpectOutcome(const TransferResult& result, Outcome outcome, int error = 0) {
  EXPECT_EQ(result.outcome, outcome) << result.error;
  EXPECT_EQ(result.error, error);
}

dev_t NodeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_rdev;
}

class BlockWriterTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!FileServer::CanServe() || !LoopDevice::CanBe()) {
      GTEST_SKIP() << "needs root, /dev/fuse and /dev/loop-control";
    }
    file_.emplace("written_disk", "disk", std::to_string(kBytes));
    loop_.emplace(file_->Path(), 512, false);
    file_->Command("log");
  }
  void TearDown() override {
    if (file_) file_->Command("resume");
    if (file_) file_->Command("fail 0");
  }

  OpenedWriter Open(const std::string& path,
                    const std::function<void(BlockWriterOptions&)>& change = {},
                    std::stop_token stop = {}) {
    BlockWriterOptions options;
    options.device = path;
    options.expectedDevice = NumberOf(path);
    options.diskSequence = SequenceOf(path);
    options.largestTransferBytes = 64U << 10;
    if (change) change(options);
    return OpenBlockWriter(calls_, files_, grant_, options, std::move(stop));
  }
  OpenedWriter Open() { return Open(loop_->Path()); }
  void ExpectRefused(const OpenedWriter& opened, WriteRefusal refusal,
                     const std::string& user = {}) {
    EXPECT_EQ(opened.writer, nullptr);
    EXPECT_EQ(opened.refusal, refusal) << opened.error;
    EXPECT_EQ(opened.user, user);
    EXPECT_EQ(file_->Command("log").find("write"), std::string::npos);
  }
  // Makes a file system on a device, and forgets that it was written.
  void Format(const std::string& path) {
    ASSERT_EQ(std::system(("mkfs.ext4 -q " + path).c_str()), 0);
    file_->Command("log");
  }

  std::optional<FileServer> file_;
  std::optional<LoopDevice> loop_;
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
  std::shared_ptr<std::atomic<bool>> grant_ = std::make_shared<std::atomic<bool>>(true);
  std::shared_ptr<const sdk::MachineFiles> files_ = std::make_shared<LiveFiles>();
};

TEST_F(BlockWriterTest, WritesFlushesAndReadsBack) {
  const OpenedWriter opened = Open();
  ASSERT_EQ(opened.refusal, WriteRefusal::kNone) << opened.error;
  sdk::BlockWriter& writer = *opened.writer;
  EXPECT_EQ(writer.Geometry().sizeBytes, kBytes);
  EXPECT_EQ(writer.Geometry().logicalSectorBytes, 512U);
  const Bytes data(1024, std::byte{0x5A});
  ExpectOutcome(writer.Write(4096, data), Outcome::kDone);
  EXPECT_EQ(file_->Command("log"), "write 4096 1024;");
  ExpectOutcome(writer.Flush(), Outcome::kDone);
  EXPECT_EQ(file_->Command("log"), "flush;");
  // Into memory of no alignment.
  Bytes back(1537);
  ExpectOutcome(writer.Read(3584, std::span(back).subspan(1)), Outcome::kDone);
  EXPECT_EQ(Bytes(back.begin() + 1, back.begin() + 513), Bytes(512));
  EXPECT_EQ(Bytes(back.begin() + 513, back.end()), data);
  EXPECT_EQ(file_->Command("log"), "none");
}

TEST_F(BlockWriterTest, WritesTheLastSectorAndNothingBehindIt) {
  const OpenedWriter opened = Open();
  ASSERT_NE(opened.writer, nullptr);
  const Bytes sector(512, std::byte{1});
  ExpectOutcome(opened.writer->Write(kBytes - 512, sector), Outcome::kDone);
  ExpectOutcome(opened.writer->Write(kBytes, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(kBytes - 512, Bytes(1024)), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(~std::uint64_t{0} - 511, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(256, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, Bytes(256)), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, {}), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, Bytes(128U << 10)), Outcome::kNotTried, EINVAL);
  Bytes back(1024);
  ExpectOutcome(opened.writer->Read(kBytes - 512, back), Outcome::kNotTried, EINVAL);
  EXPECT_EQ(file_->Command("log"), "write 4193792 512;");
}

TEST_F(BlockWriterTest, AMountedDeviceIsRefused) {
  const TestFolder folder;
  Format(loop_->Path());
  ASSERT_EQ(mount(loop_->Path().c_str(), folder.Path().c_str(), "ext4", MS_RDONLY, nullptr), 0);
  file_->Command("log");
  const OpenedWriter opened = Open();
  umount(folder.Path().c_str());
  ExpectRefused(opened, WriteRefusal::kMounted, folder.Path());
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterTest, AMountedPartitionKeepsTheDiskFromBeingWritten) {
  loop_->AddPartition(1, 2048, 4096);
  loop_->AddPartition(2, 6144, 2048);
  const TestFolder folder;
  Format(loop_->Path() + "p1");
  ASSERT_EQ(
      mount((loop_->Path() + "p1").c_str(), folder.Path().c_str(), "ext4", MS_RDONLY, nullptr), 0);
  file_->Command("log");
  const OpenedWriter whole = Open();
  const OpenedWriter mounted = Open(loop_->Path() + "p1");
  const OpenedWriter other = Open(loop_->Path() + "p2");
  umount(folder.Path().c_str());
  ExpectRefused(whole, WriteRefusal::kMounted, folder.Path());
  ExpectRefused(mounted, WriteRefusal::kMounted, folder.Path());
  EXPECT_EQ(other.refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterTest, ALoopDeviceOverItKeepsItFromBeingWritten) {
  loop_->AddPartition(1, 2048, 4096);
  LoopDevice over(loop_->Path(), 512, false);
  file_->Command("log");
  ExpectRefused(Open(), WriteRefusal::kHeld, over.Name());
  ExpectRefused(Open(loop_->Path() + "p1"), WriteRefusal::kHeld, over.Name());
  over.Detach();
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
  // Under another name, too.
  const TestFolder folder;
  ASSERT_EQ(mknod((folder / "node").c_str(), S_IFBLK | 0600, NodeOf(loop_->Path() + "p1")), 0);
  const LoopDevice overPart(folder / "node", 512, false);
  file_->Command("log");
  ExpectRefused(Open(), WriteRefusal::kHeld, overPart.Name());
}

// A machine on which another begins to use a device between the two looks at it.
class ChangingFiles final : public sdk::MachineFiles {
 public:
  explicit ChangingFiles(std::function<void()> change) : change_(std::move(change)) {}

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    auto bytes = files_.ReadBytes(path, limit, &error);
    // The last that a look looks at.
    if (path == "/proc/swaps" && !isChanged_) {
      isChanged_ = true;
      change_();
    }
    return bytes;
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    return files_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    return files_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    return files_.Exists(path, &error);
  }

  LiveFiles files_;
  std::function<void()> change_;
  mutable bool isChanged_ = false;
};

TEST_F(BlockWriterTest, ItsUseIsLookedAtOnceMoreWhenItIsOpen) {
  std::optional<LoopDevice> over;
  files_ = std::make_shared<ChangingFiles>([&] { over.emplace(loop_->Path(), 512, false); });
  const OpenedWriter opened = Open();
  ASSERT_TRUE(over.has_value());
  ExpectRefused(opened, WriteRefusal::kHeld, over->Name());
}

TEST_F(BlockWriterTest, SwapSpaceIsRefused) {
  ASSERT_EQ(std::system(("mkswap " + loop_->Path() + " >/dev/null 2>&1").c_str()), 0);
  ASSERT_EQ(swapon(loop_->Path().c_str(), 0), 0);
  file_->Command("log");
  const OpenedWriter opened = Open();
  ASSERT_EQ(swapoff(loop_->Path().c_str()), 0);
  EXPECT_EQ(opened.refusal, WriteRefusal::kSwap);
  EXPECT_EQ(opened.user, loop_->Path());
}

TEST_F(BlockWriterTest, OneWhoHoldsItExclusivelyKeepsIt) {
  const tarvex::Descriptor holder(open(loop_->Path().c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
  ASSERT_TRUE(holder.IsOpen());
  const OpenedWriter opened = Open();
  ExpectRefused(opened, WriteRefusal::kBusy);
  EXPECT_EQ(opened.error, EBUSY);
}

TEST_F(BlockWriterTest, WhileItWritesNobodyElseTakesIt) {
  OpenedWriter first = Open();
  ASSERT_NE(first.writer, nullptr);
  ExpectRefused(Open(), WriteRefusal::kBusy);
  const TestFolder folder;
  EXPECT_NE(mount(loop_->Path().c_str(), folder.Path().c_str(), "ext4", 0, nullptr), 0);
  EXPECT_EQ(errno, EBUSY);
  first.writer.reset();
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterTest, WhatIsNotTheDeviceIsRefused) {
  const TestFolder folder;
  folder.Write("file", std::string(4096, 'x'));
  ASSERT_EQ(symlink(loop_->Path().c_str(), (folder / "link").c_str()), 0);
  const auto named = [](const std::string& path) {
    return [path](BlockWriterOptions& options) { options.device = path; };
  };
  const OpenedWriter file = Open(loop_->Path(), named(folder / "file"));
  ExpectRefused(file, WriteRefusal::kDevice);
  EXPECT_EQ(file.error, ENOTBLK);
  const OpenedWriter link = Open(loop_->Path(), named(folder / "link"));
  ExpectRefused(link, WriteRefusal::kDevice);
  EXPECT_EQ(link.error, ELOOP);
  const OpenedWriter missing = Open(loop_->Path(), named(folder / "missing"));
  ExpectRefused(missing, WriteRefusal::kDevice);
  EXPECT_EQ(missing.error, ENOENT);
  EXPECT_EQ(folder.Read("file"), std::string(4096, 'x'));
}

TEST_F(BlockWriterTest, AnotherDeviceUnderTheNameIsRefused) {
  FileServer other("written_disk", "disk", "65536");
  const LoopDevice loop(other.Path(), 512, false);
  const std::uint64_t number = NumberOf(loop.Path());
  const OpenedWriter opened =
      Open(loop_->Path(), [&](BlockWriterOptions& options) { options.expectedDevice = number; });
  ExpectRefused(opened, WriteRefusal::kDevice);
  EXPECT_EQ(opened.error, ENODEV);
}

// Its number is the same, for the kernel gives a number that has become free to who comes next.
TEST_F(BlockWriterTest, AnotherMediumUnderTheSameNumberIsRefused) {
  const TestFolder folder;
  folder.Write("before", std::string(kBytes, 'b'));
  LoopDevice device(folder / "before", 512, false);
  const std::string path = device.Path();
  const std::uint64_t sequence = SequenceOf(path);
  ASSERT_TRUE(device.Exchange(file_->Path())) << "the loop device was taken";
  const OpenedWriter opened =
      Open(path, [&](BlockWriterOptions& options) { options.diskSequence = sequence; });
  ExpectRefused(opened, WriteRefusal::kDevice);
  EXPECT_EQ(opened.error, ENODEV);
  EXPECT_EQ(Open(path).refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterTest, WhichMediumIsMeantIsToBeSaid) {
  const OpenedWriter opened =
      Open(loop_->Path(), [](BlockWriterOptions& options) { options.diskSequence = 0; });
  ExpectRefused(opened, WriteRefusal::kOwnFault);
  EXPECT_EQ(opened.error, EINVAL);
}

TEST_F(BlockWriterTest, APartitionHasTheSequenceNumberOfItsDisk) {
  loop_->AddPartition(1, 2048, 4096);
  const std::uint64_t sequence = SequenceOf(loop_->Path());
  const OpenedWriter opened = Open(
      loop_->Path() + "p1", [&](BlockWriterOptions& options) { options.diskSequence = sequence; });
  EXPECT_EQ(opened.refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterTest, NothingMoreIsTriedOnceTheGrantHasEnded) {
  const OpenedWriter opened = Open();
  ASSERT_NE(opened.writer, nullptr);
  *grant_ = false;
  Bytes data(512);
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kNotTried, EPERM);
  ExpectOutcome(opened.writer->Read(0, data), Outcome::kNotTried, EPERM);
  ExpectOutcome(opened.writer->Flush(), Outcome::kNotTried, EPERM);
  EXPECT_EQ(file_->Command("log"), "none");
}

TEST_F(BlockWriterTest, AReadOnlyDeviceIsRefused) {
  const LoopDevice loop(file_->Path(), 512, true);
  const OpenedWriter opened = Open(loop.Path());
  EXPECT_EQ(opened.refusal, WriteRefusal::kDevice);
  EXPECT_EQ(opened.error, EROFS);
}

TEST_F(BlockWriterTest, ADeviceThatIsNotThereHasAnUnknownUse) {
  const OpenedWriter opened = Open(loop_->Path(), [](BlockWriterOptions& options) {
    options.expectedDevice = sdk::DeviceNumber(4000, 1);
  });
  ExpectRefused(opened, WriteRefusal::kUnknownUse);
  EXPECT_EQ(opened.error, ENOENT);
}

TEST_F(BlockWriterTest, OptionsThatDoNotFitAreOurOwnFault) {
  for (const auto& change : std::initializer_list<void (*)(BlockWriterOptions&)>{
           [](BlockWriterOptions& options) { options.expectedDevice = 0; },
           [](BlockWriterOptions& options) { options.largestTransferBytes = 0; },
           [](BlockWriterOptions& options) {
             options.largestTransferBytes = sdk::kLargestReadBytes + 1;
           },
           [](BlockWriterOptions& options) { options.timeLimit = 0ms; }}) {
    const OpenedWriter opened = Open(loop_->Path(), change);
    ExpectRefused(opened, WriteRefusal::kOwnFault);
    EXPECT_EQ(opened.error, EINVAL);
  }
}

void OnlyWithoutSignature(BlockWriterOptions& options) {
  options.onlyWithoutSignature = true;
}

TEST_F(BlockWriterTest, AFileSystemKeepsItFromBeingWrittenWhereThatIsAskedFor) {
  ASSERT_EQ(Open(loop_->Path(), OnlyWithoutSignature).refusal, WriteRefusal::kNone);
  Format(loop_->Path());
  ExpectRefused(Open(loop_->Path(), OnlyWithoutSignature), WriteRefusal::kHoldsData, "ext4");
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

// What comes to be on it between the look at its use and its opening is seen.
TEST_F(BlockWriterTest, WhatItHoldsIsLookedAtOnceItIsOpen) {
  files_ = std::make_shared<ChangingFiles>([&] { Format(loop_->Path()); });
  ExpectRefused(Open(loop_->Path(), OnlyWithoutSignature), WriteRefusal::kHoldsData, "ext4");
}

TEST_F(BlockWriterTest, WhatItHoldsMustBeReadable) {
  file_->Command("fail 5");
  const OpenedWriter opened = Open(loop_->Path(), OnlyWithoutSignature);
  EXPECT_EQ(opened.writer, nullptr);
  EXPECT_EQ(opened.refusal, WriteRefusal::kUnknownContent);
  EXPECT_EQ(opened.error, EIO);
}

TEST_F(BlockWriterTest, AStopEndsTheWaitForATransferWhereThatIsAskedFor) {
  std::stop_source stop;
  const OpenedWriter opened = Open(
      loop_->Path(), [](BlockWriterOptions& options) { options.stopEndsTransfers = true; },
      stop.get_token());
  ASSERT_NE(opened.writer, nullptr);
  Bytes data(512);
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kDone);
  file_->Command("hang");
  const std::jthread stopper([&stop] { stop.request_stop(); });
  const auto start = Clock::now();
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kStopped);
  EXPECT_LT(Clock::now() - start, 10s);
  file_->Command("resume");
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kNotTried, ESHUTDOWN);
}

TEST_F(BlockWriterTest, AStopOfItsOpeningEndsNoTransferOtherwise) {
  std::stop_source stop;
  const OpenedWriter opened = Open(loop_->Path(), {}, stop.get_token());
  ASSERT_NE(opened.writer, nullptr);
  stop.request_stop();
  ExpectOutcome(opened.writer->Write(0, Bytes(512)), Outcome::kDone);
}

TEST_F(BlockWriterTest, AStopIsNoRefusalOfTheDevice) {
  std::stop_source stop;
  stop.request_stop();
  ExpectRefused(Open(loop_->Path(), {}, stop.get_token()), WriteRefusal::kStopped);
}

TEST_F(BlockWriterTest, WhatTheDeviceFailsIsItsFault) {
  const OpenedWriter opened = Open();
  ASSERT_NE(opened.writer, nullptr);
  Bytes data(512);
  file_->Command("fail 5");
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kFailed, EIO);
  ExpectOutcome(opened.writer->Read(0, data), Outcome::kFailed, EIO);
  ExpectOutcome(opened.writer->Flush(), Outcome::kFailed, EIO);
  file_->Command("fail 0");
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kDone);
  EXPECT_EQ(*left_, 0U);
}

TEST_F(BlockWriterTest, ATransferThatHangsIsLeftBehindAndNothingMoreIsTried) {
  const OpenedWriter opened =
      Open(loop_->Path(), [](BlockWriterOptions& options) { options.timeLimit = 200ms; });
  ASSERT_NE(opened.writer, nullptr);
  file_->Command("hang");
  Bytes data(512);
  const auto start = Clock::now();
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kTimedOut, ETIMEDOUT);
  EXPECT_LT(Clock::now() - start, 10s);
  EXPECT_EQ(*left_, 1U);
  file_->Command("resume");
  ExpectOutcome(opened.writer->Write(0, data), Outcome::kNotTried, ESHUTDOWN);
  ExpectOutcome(opened.writer->Read(0, data), Outcome::kNotTried, ESHUTDOWN);
  ExpectOutcome(opened.writer->Flush(), Outcome::kNotTried, ESHUTDOWN);
}

TEST_F(BlockWriterTest, ItsEndWaitsForNoTransfer) {
  OpenedWriter opened =
      Open(loop_->Path(), [](BlockWriterOptions& options) { options.timeLimit = 100ms; });
  ASSERT_NE(opened.writer, nullptr);
  file_->Command("hang");
  ExpectOutcome(opened.writer->Flush(), Outcome::kTimedOut, ETIMEDOUT);
  const auto start = Clock::now();
  opened.writer.reset();
  EXPECT_LT(Clock::now() - start, 5s);
}

}  // namespace
}  // namespace orvan::machine
