#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <limits>
#include <memory>
#include <string>

#include "os/descriptor.h"
#include "system/filesystem/scratch_file.h"
#include "tests/support/test_folder.h"

namespace {

using tarvex::Descriptor;
using tarvex::Transfer;
using tarvex::TransferDirection;

class TransferTest : public testing::Test {
 protected:
  static ScratchFile Over(int descriptor) { return {.descriptor = Descriptor(descriptor)}; }
  ScratchFile OverFile(const std::string& content, int flags = O_RDWR) const {
    folder_.Write("file", content);
    return Over(open((folder_ / "file").c_str(), flags | O_CLOEXEC));
  }

  const TestFolder folder_;
  std::size_t done_ = 99;
  std::array<char, 8> buffer_{'.', '.', '.', '.', '.', '.', '.', '.'};
};

// ---- Transfers of a file ------------------------------------------------------------------------

TEST_F(TransferTest, AllBytesMovedIs0) {
  ScratchFile file = OverFile("0123456789");
  EXPECT_EQ(file.Read(2, 4, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(done_, 4U);
  EXPECT_EQ(std::string(buffer_.data(), 8), "2345....");
  EXPECT_EQ(file.Write(8, 4, done_, 10, "abcd"), 0);
  EXPECT_EQ(done_, 4U);
  EXPECT_EQ(file.Read(6, 6, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(std::string(buffer_.data(), 8), "67abcd..");
}

TEST_F(TransferTest, FewerBytesThanAskedIs75WithThoseThatMoved) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(1, 8, done_, 10, buffer_.data()), 75);
  EXPECT_EQ(done_, 2U);
  EXPECT_EQ(std::string(buffer_.data(), 8), "12......");
  EXPECT_EQ(file.Read(3, 8, done_, 10, buffer_.data()), 75);
  EXPECT_EQ(done_, 0U);
}

TEST_F(TransferTest, TransferThatCannotStartIs1) {
  ScratchFile unreadable = OverFile("012", O_WRONLY);
  EXPECT_EQ(unreadable.Read(0, 3, done_, 10, buffer_.data()), 1);
  EXPECT_EQ(done_, 0U);
  ScratchFile unwritable = OverFile("012", O_RDONLY);
  EXPECT_EQ(unwritable.Write(0, 3, done_, 10, "abc"), 1);
  ScratchFile closed = Over(-1);
  EXPECT_EQ(closed.Read(0, 3, done_, 10, buffer_.data()), 1);
}

TEST_F(TransferTest, OffsetBeyondEveryFileIs1) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(std::numeric_limits<std::uint64_t>::max(), 3, done_, 10, buffer_.data()), 1);
  EXPECT_EQ(file.Write(1ULL << 63, 3, done_, 10, "abc"), 1);
}

TEST_F(TransferTest, TransferThatFailsOnItsWayIs75) {
  ScratchFile full = Over(open("/dev/full", O_RDWR | O_CLOEXEC));
  EXPECT_EQ(full.Write(0, 3, done_, 10, "abc"), 75);
  EXPECT_EQ(done_, 0U);
}

TEST_F(TransferTest, SizeThatNoMemoryHoldsIs1) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(0, std::numeric_limits<std::size_t>::max(), done_, 10, buffer_.data()), 1);
}

TEST_F(TransferTest, NothingToMoveIs0) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(0, 0, done_, 10, nullptr), 0);
  EXPECT_EQ(file.Write(0, 0, done_, 10, nullptr), 0);
  EXPECT_EQ(done_, 0U);
}

// ---- What becomes of a transfer's result --------------------------------------------------------

TEST_F(TransferTest, DeviceErrorIs75) {
  for (const int error : {EIO, ENODATA, ENOSPC, ETIMEDOUT}) {
    ScratchFile file = OverFile("012");
    file.make = [error](const Transfer&) -> std::int64_t { return -error; };
    EXPECT_EQ(file.Read(0, 3, done_, 10, buffer_.data()), 75) << error;
    EXPECT_EQ(file.Write(0, 3, done_, 10, "abc"), 75) << error;
    EXPECT_EQ(done_, 0U);
  }
}

TEST_F(TransferTest, MemoryIsAlignedForEveryDiskAndHoldsTheRequest) {
  ScratchFile file = OverFile("012");
  file.make = [](const Transfer& transfer) -> std::int64_t {
    EXPECT_EQ(transfer.direction, TransferDirection::kWrite);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(transfer.bytes.get()) % 4096, 0U);
    EXPECT_EQ(std::string(transfer.bytes.get(), transfer.size), "abcd");
    EXPECT_EQ(transfer.offset, 7U);
    return 4;
  };
  EXPECT_EQ(file.Write(7, 4, done_, 10, "abcd"), 0);
}

// ---- Time limits --------------------------------------------------------------------------------

// Transfers that end when the test says so, and tell their memory.
class HeldTransferTest : public TransferTest {
 protected:
  void SetUp() override {
    file_ = OverFile("01234567");
    file_.make = [this, gate = gate_.get_future().share()](Transfer& transfer) -> std::int64_t {
      gate.wait();
      std::memset(transfer.bytes.get(), 'L', transfer.size);
      const bool open = fcntl(transfer.file.Get(), F_GETFD) >= 0;
      ended_.set_value(open);
      return static_cast<std::int64_t>(transfer.size);
    };
  }
  // Whether the transfer's file was open to its end.
  bool LetItEnd() {
    gate_.set_value();
    return ended_.get_future().get();
  }
  std::string Buffer() const { return {buffer_.data(), buffer_.size()}; }

  std::promise<void> gate_;
  std::promise<bool> ended_;
  ScratchFile file_;
};

TEST_F(HeldTransferTest, ReadThatDoesNotEndInTimeIs134) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(file_.Read(0, 8, done_, 1, buffer_.data()), 134);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(done_, 0U);
  EXPECT_TRUE(LetItEnd());
  EXPECT_EQ(Buffer(), "........");
}

TEST_F(HeldTransferTest, WriteThatDoesNotEndInTimeIs135) {
  EXPECT_EQ(file_.Write(0, 8, done_, 0, buffer_.data()), 135);
  EXPECT_EQ(done_, 0U);
  EXPECT_TRUE(LetItEnd());
  EXPECT_EQ(Buffer(), "........");
}

TEST_F(HeldTransferTest, TransferThatTimedOutOutlivesItsFile) {
  EXPECT_EQ(file_.Read(0, 8, done_, 0, buffer_.data()), 134);
  file_ = ScratchFile();
  EXPECT_TRUE(LetItEnd());
}

TEST_F(HeldTransferTest, LateBytesDoNotReachTheNextTransfer) {
  EXPECT_EQ(file_.Read(0, 8, done_, 0, buffer_.data()), 134);
  file_.make = tarvex::MakeTransfer;
  EXPECT_TRUE(LetItEnd());
  EXPECT_EQ(file_.Read(0, 8, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(Buffer(), "01234567");
}

TEST_F(HeldTransferTest, NextTransferTimesOutBehindOneThatIsLeftAndStartsOnceThatHasEnded) {
  EXPECT_EQ(file_.Write(0, 4, done_, 0, "abcd"), 135);
  int started = 0;
  file_.make = [&started](const Transfer& transfer) {
    ++started;
    return static_cast<std::int64_t>(transfer.size);
  };
  EXPECT_EQ(file_.Write(0, 4, done_, 0, "efgh"), 135);
  EXPECT_EQ(file_.Read(0, 4, done_, 0, buffer_.data()), 134);
  EXPECT_EQ(started, 0);
  EXPECT_TRUE(LetItEnd());
  EXPECT_EQ(file_.Write(0, 4, done_, 10, "efgh"), 0);
  EXPECT_EQ(started, 1);
  EXPECT_EQ(done_, 4U);
}

}  // namespace
