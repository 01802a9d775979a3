#include "service/log/log_sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <utility>

#include "tests/support/test_threads.h"

namespace orvan::log {
namespace {

using namespace std::chrono_literals;

constexpr auto kLong = 600s;

// A sync that counts its calls.
struct Counter {
  std::function<void()> Sync() {
    return [count = count] { ++*count; };
  }
  std::shared_ptr<std::atomic<int>> count = std::make_shared<std::atomic<int>>(0);
};

// A disk that hangs until it is let go; it may outlive the test's end.
struct HungDisk {
  ~HungDisk() { Release(); }
  void Release() {
    if (!std::exchange(isReleased, true)) release->count_down();
  }
  std::function<void()> Sync() {
    return [release = release] { release->wait(); };
  }
  std::shared_ptr<std::latch> release = std::make_shared<std::latch>(1);
  bool isReleased = false;
};

TEST(LogSync, TheFirstRequestIsOnTheDiskWhenItReturns) {
  Counter counter;
  LogSync sync(counter.Sync(), {kLong, kLong});
  EXPECT_TRUE(sync.SyncNow());
  EXPECT_EQ(*counter.count, 1);
}

TEST(LogSync, EachRequestThatIsNoBurstIsOnTheDiskWhenItReturns) {
  Counter counter;
  LogSync sync(counter.Sync(), {0s, kLong});
  for (int request = 1; request <= 10; ++request) {
    EXPECT_TRUE(sync.SyncNow());
    EXPECT_GE(*counter.count, request);
  }
}

TEST(LogSync, ABurstIsOneSyncAtItsEnd) {
  Counter counter;
  {
    LogSync sync(counter.Sync(), {kLong, kLong});
    sync.SyncNow();
    for (int request = 0; request < 1000; ++request) {
      EXPECT_FALSE(sync.SyncNow());
      sync.SyncSoon();
    }
    EXPECT_EQ(*counter.count, 1);
  }
  EXPECT_EQ(*counter.count, 2);
}

TEST(LogSync, TheEndBringsTheLastLinesToTheDisk) {
  Counter counter;
  { LogSync sync(counter.Sync(), {kLong, kLong}); }
  EXPECT_EQ(*counter.count, 1);
}

// The bounds are wide against a busy machine; waiting at each request would miss them by far.
TEST(LogSync, AHungDiskIsWaitedForOnce) {
  HungDisk disk;
  const auto start = std::chrono::steady_clock::now();
  LogSync sync(disk.Sync(), {0s, 200ms});
  EXPECT_FALSE(sync.SyncNow());
  EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
  for (int request = 0; request < 100; ++request) {
    EXPECT_FALSE(sync.SyncNow());
    sync.SyncSoon();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST(LogSync, AHungDiskIsLeftBehindAtTheEnd) {
  HungDisk disk;
  const auto start = std::chrono::steady_clock::now();
  { LogSync(disk.Sync(), {0s, 50ms}).SyncSoon(); }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST(LogSync, WithoutAThreadNobodyWaitsAndNothingIsSynchronized) {
  Counter counter;
  {
    const RefusedThreads refused;
    LogSync sync(counter.Sync(), {0s, kLong});
    EXPECT_FALSE(sync.SyncNow());
    sync.SyncSoon();
  }
  EXPECT_EQ(*counter.count, 0);
}

TEST(LogSync, ADiskThatComesBackIsWaitedForAgain) {
  HungDisk disk;
  LogSync sync(disk.Sync(), {0s, 100ms});
  EXPECT_FALSE(sync.SyncNow());
  disk.Release();
  const auto deadline = std::chrono::steady_clock::now() + 30s;
  bool isDone = false;
  while (!isDone && std::chrono::steady_clock::now() < deadline) {
    isDone = sync.SyncNow();
  }
  EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace orvan::log
