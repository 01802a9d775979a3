#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/swap.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

#include "service/machine/writer_test_support.h"

// Which devices are not opened for writing.

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using sdk::BlockWriterOptions;
using sdk::OpenedWriter;
using sdk::WriteRefusal;
using BlockWriterRefusals = WriterBench;

dev_t NodeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_rdev;
}

TEST_F(BlockWriterRefusals, AMountedDeviceIsRefused) {
  const TestFolder folder;
  Format(loop_->Path());
  ASSERT_EQ(mount(loop_->Path().c_str(), folder.Path().c_str(), "ext4", MS_RDONLY, nullptr), 0);
  file_->Command("log");
  const OpenedWriter opened = Open();
  umount(folder.Path().c_str());
  ExpectRefused(opened, WriteRefusal::kMounted, folder.Path());
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterRefusals, AMountedPartitionKeepsTheDiskFromBeingWritten) {
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

TEST_F(BlockWriterRefusals, ALoopDeviceOverItKeepsItFromBeingWritten) {
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

TEST_F(BlockWriterRefusals, ItsUseIsLookedAtOnceMoreWhenItIsOpen) {
  std::optional<LoopDevice> over;
  files_ = std::make_shared<ChangingFiles>([&] { over.emplace(loop_->Path(), 512, false); });
  const OpenedWriter opened = Open();
  ASSERT_TRUE(over.has_value());
  ExpectRefused(opened, WriteRefusal::kHeld, over->Name());
}

TEST_F(BlockWriterRefusals, SwapSpaceIsRefused) {
  ASSERT_EQ(std::system(("mkswap " + loop_->Path() + " >/dev/null 2>&1").c_str()), 0);
  ASSERT_EQ(swapon(loop_->Path().c_str(), 0), 0);
  file_->Command("log");
  const OpenedWriter opened = Open();
  ASSERT_EQ(swapoff(loop_->Path().c_str()), 0);
  EXPECT_EQ(opened.refusal, WriteRefusal::kSwap);
  EXPECT_EQ(opened.user, loop_->Path());
}

TEST_F(BlockWriterRefusals, OneWhoHoldsItExclusivelyKeepsIt) {
  const tarvex::Descriptor holder(open(loop_->Path().c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
  ASSERT_TRUE(holder.IsOpen());
  const OpenedWriter opened = Open();
  ExpectRefused(opened, WriteRefusal::kBusy);
  EXPECT_EQ(opened.error, EBUSY);
}

TEST_F(BlockWriterRefusals, WhileItWritesNobodyElseTakesIt) {
  OpenedWriter first = Open();
  ASSERT_NE(first.writer, nullptr);
  ExpectRefused(Open(), WriteRefusal::kBusy);
  const TestFolder folder;
  EXPECT_NE(mount(loop_->Path().c_str(), folder.Path().c_str(), "ext4", 0, nullptr), 0);
  EXPECT_EQ(errno, EBUSY);
  first.writer.reset();
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterRefusals, WhatIsNotTheDeviceIsRefused) {
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

TEST_F(BlockWriterRefusals, AnotherDeviceUnderTheNameIsRefused) {
  FileServer other("written_disk", "disk", "65536");
  const LoopDevice loop(other.Path(), 512, false);
  const std::uint64_t number = NumberOf(loop.Path());
  const OpenedWriter opened =
      Open(loop_->Path(), [&](BlockWriterOptions& options) { options.expectedDevice = number; });
  ExpectRefused(opened, WriteRefusal::kDevice);
  EXPECT_EQ(opened.error, ENODEV);
}

// Its number is the same, for the kernel gives a number that has become free to who comes next.
TEST_F(BlockWriterRefusals, AnotherMediumUnderTheSameNumberIsRefused) {
  const TestFolder folder;
  folder.Write("before", std::string(kWrittenBytes, 'b'));
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

TEST_F(BlockWriterRefusals, WhichMediumIsMeantIsToBeSaid) {
  const OpenedWriter opened =
      Open(loop_->Path(), [](BlockWriterOptions& options) { options.diskSequence = 0; });
  ExpectRefused(opened, WriteRefusal::kOwnFault);
  EXPECT_EQ(opened.error, EINVAL);
}

TEST_F(BlockWriterRefusals, APartitionHasTheSequenceNumberOfItsDisk) {
  loop_->AddPartition(1, 2048, 4096);
  const std::uint64_t sequence = SequenceOf(loop_->Path());
  const OpenedWriter opened = Open(
      loop_->Path() + "p1", [&](BlockWriterOptions& options) { options.diskSequence = sequence; });
  EXPECT_EQ(opened.refusal, WriteRefusal::kNone);
}

TEST_F(BlockWriterRefusals, AReadOnlyDeviceIsRefused) {
  const LoopDevice loop(file_->Path(), 512, true);
  const OpenedWriter opened = Open(loop.Path());
  EXPECT_EQ(opened.refusal, WriteRefusal::kDevice);
  EXPECT_EQ(opened.error, EROFS);
}

TEST_F(BlockWriterRefusals, ADeviceThatIsNotThereHasAnUnknownUse) {
  const OpenedWriter opened = Open(loop_->Path(), [](BlockWriterOptions& options) {
    options.expectedDevice = sdk::DeviceNumber(4000, 1);
  });
  ExpectRefused(opened, WriteRefusal::kUnknownUse);
  EXPECT_EQ(opened.error, ENOENT);
}

TEST_F(BlockWriterRefusals, OptionsThatDoNotFitAreOurOwnFault) {
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

TEST_F(BlockWriterRefusals, AFileSystemKeepsItFromBeingWrittenWhereThatIsAskedFor) {
  ASSERT_EQ(Open(loop_->Path(), OnlyWithoutSignature).refusal, WriteRefusal::kNone);
  Format(loop_->Path());
  ExpectRefused(Open(loop_->Path(), OnlyWithoutSignature), WriteRefusal::kHoldsData, "ext4");
  EXPECT_EQ(Open().refusal, WriteRefusal::kNone);
}

// What comes to be on it between the look at its use and its opening is seen.
TEST_F(BlockWriterRefusals, WhatItHoldsIsLookedAtOnceItIsOpen) {
  files_ = std::make_shared<ChangingFiles>([&] { Format(loop_->Path()); });
  ExpectRefused(Open(loop_->Path(), OnlyWithoutSignature), WriteRefusal::kHoldsData, "ext4");
}

TEST_F(BlockWriterRefusals, WhatItHoldsMustBeReadable) {
  file_->Command("fail 5");
  const OpenedWriter opened = Open(loop_->Path(), OnlyWithoutSignature);
  EXPECT_EQ(opened.writer, nullptr);
  EXPECT_EQ(opened.refusal, WriteRefusal::kUnknownContent);
  EXPECT_EQ(opened.error, EIO);
}

TEST_F(BlockWriterRefusals, AStopIsNoRefusalOfTheDevice) {
  std::stop_source stop;
  stop.request_stop();
  ExpectRefused(Open(loop_->Path(), {}, stop.get_token()), WriteRefusal::kStopped);
}

}  // namespace
}  // namespace orvan::machine
