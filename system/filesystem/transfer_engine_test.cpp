#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <string>

#include "os/descriptor.h"
#include "system/filesystem/scratch_file.h"
#include "system/filesystem/transfer_engine.h"
#include "tests/support/test_folder.h"

namespace {

using tarvex::Descriptor;
using tarvex::TransferEngine;
using tarvex::TransferRequest;
using tarvex::TransferWait;

// ---- Transfers, on each engine ------------------------------------------------------------------

// Holds transfers until the test lets them go, and knows when all of them are through.
struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  bool open = false;  // guarded by mutex
  int passed = 0;     // guarded by mutex

  static Gate& Get() {
    static Gate gate;
    return gate;
  }
  void Close() {
    const std::lock_guard lock(mutex);
    open = false;
    passed = 0;
  }
  void AwaitOpen() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return open; });
  }
  void Pass() {
    const std::lock_guard lock(mutex);
    ++passed;
    changed.notify_all();
  }
  void OpenAndAwait(int transfers) {
    std::unique_lock lock(mutex);
    open = true;
    changed.notify_all();
    changed.wait(lock, [this, transfers] { return passed == transfers; });
  }
};

struct Engine {
  const char* name;
  std::unique_ptr<TransferEngine> (*make)();
};

void PrintTo(const Engine& engine, std::ostream* out) {
  *out << engine.name;
}

class TransferTest : public testing::TestWithParam<Engine> {
 protected:
  ScratchFile Over(int descriptor) {
    return ScratchFile(Descriptor(descriptor), GetParam().make());
  }
  ScratchFile OverFile(const std::string& content, int flags = O_RDWR) {
    folder_.Write("file", content);
    return Over(open((folder_ / "file").c_str(), flags | O_CLOEXEC));
  }

  const TestFolder folder_;
  std::size_t done_ = 99;
  std::array<char, 8> buffer_{'.', '.', '.', '.', '.', '.', '.', '.'};
};

TEST_P(TransferTest, AllBytesMovedIs0) {
  ScratchFile file = OverFile("0123456789");
  EXPECT_EQ(file.Read(2, 4, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(done_, 4U);
  EXPECT_EQ(std::string(buffer_.data(), 8), "2345....");
  EXPECT_EQ(file.Write(8, 4, done_, 10, "abcd"), 0);
  EXPECT_EQ(done_, 4U);
  EXPECT_EQ(file.Read(6, 6, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(std::string(buffer_.data(), 8), "67abcd..");
}

TEST_P(TransferTest, FewerBytesThanAskedIs75WithThoseThatMoved) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(1, 8, done_, 10, buffer_.data()), 75);
  EXPECT_EQ(done_, 2U);
  EXPECT_EQ(std::string(buffer_.data(), 8), "12......");
  EXPECT_EQ(file.Read(3, 8, done_, 10, buffer_.data()), 75);
  EXPECT_EQ(done_, 0U);
}

TEST_P(TransferTest, TransferThatCannotStartIs1) {
  ScratchFile unreadable = OverFile("012", O_WRONLY);
  EXPECT_EQ(unreadable.Read(0, 3, done_, 10, buffer_.data()), 1);
  EXPECT_EQ(done_, 0U);
  ScratchFile unwritable = OverFile("012", O_RDONLY);
  EXPECT_EQ(unwritable.Write(0, 3, done_, 10, "abc"), 1);
  ScratchFile closed = Over(-1);
  EXPECT_EQ(closed.Read(0, 3, done_, 10, buffer_.data()), 1);
}

TEST_P(TransferTest, TransferThatFailsOnItsWayIs75) {
  ScratchFile full = Over(open("/dev/full", O_RDWR | O_CLOEXEC));
  EXPECT_EQ(full.Write(0, 3, done_, 10, "abc"), 75);
  EXPECT_EQ(done_, 0U);
}

TEST_P(TransferTest, SizeThatNoMemoryHoldsIs1) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(0, std::numeric_limits<std::size_t>::max(), done_, 10, buffer_.data()), 1);
}

TEST_P(TransferTest, NothingToMoveIs0) {
  ScratchFile file = OverFile("012");
  EXPECT_EQ(file.Read(0, 0, done_, 10, nullptr), 0);
  EXPECT_EQ(file.Write(0, 0, done_, 10, nullptr), 0);
  EXPECT_EQ(done_, 0U);
}

INSTANTIATE_TEST_SUITE_P(Engines, TransferTest,
                         testing::Values(Engine{"best", tarvex::MakeTransferEngine},
                                         Engine{"thread",
                                                [] { return tarvex::MakeThreadEngine(); }}),
                         [](const auto& tested) { return std::string(tested.param.name); });

// ---- Time limits, on the kernel's queue: pipes hold a transfer as long as a test wants
// -----------

class UringTest : public testing::Test {
 protected:
  void SetUp() override {
    if (tarvex::MakeUringEngine() == nullptr) GTEST_SKIP() << "no io_uring on this system";
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    read_ = Descriptor(ends[0]);
    write_ = Descriptor(ends[1]);
  }
  static ScratchFile Over(Descriptor& end) {
    return ScratchFile(std::move(end), tarvex::MakeUringEngine());
  }
  void FillPipe() const {
    fcntl(write_.Get(), F_SETFL, O_NONBLOCK);
    const std::array<char, 65536> bytes{};
    while (write(write_.Get(), bytes.data(), bytes.size()) > 0) {
    }
    fcntl(write_.Get(), F_SETFL, 0);
  }

  Descriptor read_;
  Descriptor write_;
  std::size_t done_ = 99;
  std::array<char, 8> buffer_{'.', '.', '.', '.', '.', '.', '.', '.'};
};

TEST_F(UringTest, ReadThatDoesNotEndInTimeIs134) {
  ScratchFile file = Over(read_);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(file.Read(0, 8, done_, 1, buffer_.data()), 134);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(done_, 0U);
  EXPECT_EQ(std::string(buffer_.data(), 8), "........");
}

TEST_F(UringTest, WriteThatDoesNotEndInTimeIs135) {
  FillPipe();
  ScratchFile file = Over(write_);
  EXPECT_EQ(file.Write(0, 8, done_, 0, "abcdefgh"), 135);
  EXPECT_EQ(done_, 0U);
}

TEST_F(UringTest, LimitOfZeroStillTakesWhatIsThere) {
  ASSERT_EQ(write(write_.Get(), "abc", 3), 3);
  ScratchFile file = Over(read_);
  EXPECT_EQ(file.Read(0, 3, done_, 0, buffer_.data()), 0);
  EXPECT_EQ(std::string(buffer_.data(), 8), "abc.....");
}

TEST_F(UringTest, FileGoesOnAfterTransfersThatTimedOut) {
  ScratchFile file = Over(read_);
  for (int count = 0; count < 40; ++count) {
    ASSERT_EQ(file.Read(0, 8, done_, 0, buffer_.data()), 134) << count;
  }
  ASSERT_EQ(write(write_.Get(), "abc", 3), 3);
  EXPECT_EQ(file.Read(0, 3, done_, 10, buffer_.data()), 0);
  EXPECT_EQ(std::string(buffer_.data(), 8), "abc.....");
}

TEST_F(UringTest, TransferThatCannotBeEndedKeepsItsBufferPastTheEngine) {
  std::weak_ptr<tarvex::TransferBuffer> watched;
  {
    auto engine = tarvex::MakeUringEngine();
    auto buffer = tarvex::TransferBuffer::Make(8);
    watched = buffer;
    ASSERT_EQ(engine->Start({tarvex::TransferDirection::kRead, read_.Get(), 0, 8, buffer}), 0);
    std::int64_t result = 0;
    EXPECT_EQ(engine->Wait(std::chrono::seconds(0), result), TransferWait::kTimedOut);
  }
  EXPECT_FALSE(watched.expired());
  // Once the transfer has ended, the next engine clears away what it left.
  ASSERT_EQ(write(write_.Get(), "abcdefgh", 8), 8);
  EXPECT_NE(tarvex::MakeUringEngine(), nullptr);
  EXPECT_TRUE(watched.expired());
}

TEST_F(UringTest, TooManyUnfinishedTransfersStartNoMore) {
  auto engine = tarvex::MakeUringEngine();
  const auto buffer = tarvex::TransferBuffer::Make(1);
  const TransferRequest request{tarvex::TransferDirection::kRead, read_.Get(), 0, 1, buffer};
  int started = 0;
  while (started < 100 && engine->Start(request) == 0) ++started;
  EXPECT_EQ(started, 14);
  EXPECT_EQ(engine->Start(request), EBUSY);
  EXPECT_EQ(buffer.use_count(), 2 + started);
  const std::string bytes(static_cast<std::size_t>(started), 'x');
  ASSERT_EQ(write(write_.Get(), bytes.data(), bytes.size()), started);
  EXPECT_EQ(engine->Start(request), 0);
}

// ---- Time limits, on threads --------------------------------------------------------------------

TEST(ThreadEngine, TransferThatDoesNotEndInTimeNeverTouchesTheCallersBuffer) {
  const TestFolder folder;
  folder.Write("file", "01234567");
  const auto held = [](const TransferRequest& request) -> std::int64_t {
    Gate::Get().AwaitOpen();
    std::memset(request.buffer->Data(), 'L', request.size);
    Gate::Get().Pass();
    return static_cast<std::int64_t>(request.size);
  };
  Gate::Get().Close();
  std::array<char, 8> buffer{'.', '.', '.', '.', '.', '.', '.', '.'};
  std::size_t done = 99;
  {
    ScratchFile file(Descriptor(open((folder / "file").c_str(), O_RDWR | O_CLOEXEC)),
                     tarvex::MakeThreadEngine(held));
    EXPECT_EQ(file.Read(0, 8, done, 0, buffer.data()), 134);
    EXPECT_EQ(done, 0U);
    EXPECT_EQ(file.Write(0, 8, done, 0, buffer.data()), 135);
  }
  Gate::Get().OpenAndAwait(2);
  EXPECT_EQ(std::string(buffer.data(), 8), "........");
}

// ---- The rule alone, with an engine that does what the test says --------------------------------

struct Script {
  int start = 0;
  TransferWait wait = TransferWait::kEnded;
  std::int64_t result = 0;
  int abandoned = 0;
  TransferRequest request;
};

class ScriptedEngine : public TransferEngine {
 public:
  explicit ScriptedEngine(Script& script) : script_(script) {}
  int Start(const TransferRequest& request) override {
    script_.request = request;
    return script_.start;
  }
  TransferWait Wait(std::chrono::seconds limit, std::int64_t& result) override {
    EXPECT_EQ(limit, std::chrono::seconds(7));
    result = script_.result;
    return script_.wait;
  }
  void Abandon() override { ++script_.abandoned; }

 private:
  Script& script_;
};

class TransferRuleTest : public testing::Test {
 protected:
  int Read() { return file_.Read(0, 4, done_, 7, buffer_.data()); }
  int Write() { return file_.Write(0, 4, done_, 7, buffer_.data()); }

  Script script_;
  ScratchFile file_{Descriptor(), std::make_unique<ScriptedEngine>(script_)};
  std::array<char, 4> buffer_{'.', '.', '.', '.'};
  std::size_t done_ = 99;
};

TEST_F(TransferRuleTest, StartThatFailsIs1) {
  script_.start = EAGAIN;
  EXPECT_EQ(Read(), 1);
  EXPECT_EQ(Write(), 1);
  EXPECT_EQ(done_, 0U);
  EXPECT_EQ(script_.abandoned, 0);
}

TEST_F(TransferRuleTest, WaitThatFailsIs75AfterCancelling) {
  script_.wait = TransferWait::kFailed;
  EXPECT_EQ(Read(), 75);
  EXPECT_EQ(script_.abandoned, 1);
  EXPECT_EQ(Write(), 75);
  EXPECT_EQ(script_.abandoned, 2);
}

TEST_F(TransferRuleTest, TimeOutIs134Or135AfterCancelling) {
  script_.wait = TransferWait::kTimedOut;
  EXPECT_EQ(Read(), 134);
  EXPECT_EQ(Write(), 135);
  EXPECT_EQ(script_.abandoned, 2);
}

TEST_F(TransferRuleTest, DeviceErrorIs75) {
  for (const int error : {EIO, ENODATA, ENOSPC, ETIMEDOUT}) {
    script_.result = -error;
    EXPECT_EQ(Read(), 75) << error;
    EXPECT_EQ(done_, 0U);
  }
}

TEST_F(TransferRuleTest, LateBytesReachNeitherTheCallerNorTheNextTransfer) {
  script_.wait = TransferWait::kTimedOut;
  EXPECT_EQ(Read(), 134);
  const auto abandoned = script_.request.buffer;
  script_.wait = TransferWait::kEnded;
  script_.result = 4;
  std::memset(abandoned->Data(), 'L', 4);
  EXPECT_EQ(std::string(buffer_.data(), 4), "....");
  EXPECT_EQ(Write(), 0);
  EXPECT_NE(script_.request.buffer, abandoned);
}

TEST_F(TransferRuleTest, BuffersAreAlignedForEveryDisk) {
  script_.result = 4;
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(script_.request.buffer->Data()) % 4096, 0U);
}

}  // namespace
