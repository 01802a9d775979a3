#include "service/machine/block_writer.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "service/machine/writer_test_support.h"

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
using BlockWriterTest = WriterBench;

void ExpectOutcome(const TransferResult& result, Outcome outcome, int error = 0) {
  EXPECT_EQ(result.outcome, outcome) << result.error;
  EXPECT_EQ(result.error, error);
}

TEST_F(BlockWriterTest, WritesFlushesAndReadsBack) {
  const OpenedWriter opened = Open();
  ASSERT_EQ(opened.refusal, WriteRefusal::kNone) << opened.error;
  sdk::BlockWriter& writer = *opened.writer;
  EXPECT_EQ(writer.Geometry().sizeBytes, kWrittenBytes);
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
  ExpectOutcome(opened.writer->Write(kWrittenBytes - 512, sector), Outcome::kDone);
  ExpectOutcome(opened.writer->Write(kWrittenBytes, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(kWrittenBytes - 512, Bytes(1024)), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(~std::uint64_t{0} - 511, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(256, sector), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, Bytes(256)), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, {}), Outcome::kNotTried, EINVAL);
  ExpectOutcome(opened.writer->Write(0, Bytes(128U << 10)), Outcome::kNotTried, EINVAL);
  Bytes back(1024);
  ExpectOutcome(opened.writer->Read(kWrittenBytes - 512, back), Outcome::kNotTried, EINVAL);
  EXPECT_EQ(file_->Command("log"), "write 4193792 512;");
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

// Memory that ends a grant when it is first read.
class EndingMemory {
 public:
  explicit EndingMemory(std::atomic<bool>& grant)
      : page_(mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    EXPECT_NE(page_, MAP_FAILED);
    touched_ = this;
    grant_ = &grant;
    struct sigaction action {};
    action.sa_handler = [](int) {
      *touched_->grant_ = false;
      mprotect(touched_->page_, kBytes, PROT_READ);
    };
    sigaction(SIGSEGV, &action, &before_);
  }
  ~EndingMemory() {
    sigaction(SIGSEGV, &before_, nullptr);
    munmap(page_, kBytes);
  }
  EndingMemory(const EndingMemory&) = delete;
  EndingMemory& operator=(const EndingMemory&) = delete;
  std::span<const std::byte> Data() const { return {static_cast<const std::byte*>(page_), 512}; }

 private:
  static constexpr std::size_t kBytes = 4096;
  static inline EndingMemory* touched_ = nullptr;
  void* page_;
  std::atomic<bool>* grant_ = nullptr;
  struct sigaction before_ {};
};

// The writer has looked at the grant then, and the thread that writes has not begun.
TEST_F(BlockWriterTest, AGrantThatEndsBeforeTheTransferIsBegunEndsIt) {
  const OpenedWriter opened = Open();
  ASSERT_NE(opened.writer, nullptr);
  const EndingMemory memory(*grant_);
  ExpectOutcome(opened.writer->Write(0, memory.Data()), Outcome::kNotTried, EPERM);
  EXPECT_FALSE(*grant_);
  EXPECT_EQ(file_->Command("log"), "none");
}

// A device that became smaller while it was open has no errno for what lies behind its end.
TEST_F(BlockWriterTest, AnEndOfTheDataBeforeThatOfTheDeviceIsAFault) {
  const TestFolder folder;
  folder.Write("disk", std::string(kWrittenBytes, 'x'));
  const LoopDevice loop(folder / "disk", 512, false);
  const OpenedWriter opened = Open(loop.Path());
  ASSERT_NE(opened.writer, nullptr) << opened.error;
  ASSERT_EQ(truncate((folder / "disk").c_str(), kWrittenBytes / 2), 0);
  const tarvex::Descriptor device(open(loop.Path().c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(ioctl(device.Get(), LOOP_SET_CAPACITY), 0);
  Bytes data(1024);
  ExpectOutcome(opened.writer->Read(kWrittenBytes / 2 - 512, data), Outcome::kFailed, EIO);
  ExpectOutcome(opened.writer->Read(kWrittenBytes / 2 - 1024, data), Outcome::kDone);
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
