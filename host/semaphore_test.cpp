#include "host/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace tarvex {
namespace {

TEST(SemaphoreTest, StartsWithItsInitialCount) {
  Semaphore semaphore;
  semaphore.Init(2, 3);
  semaphore.Wait();
  semaphore.Wait();
  SUCCEED();
}

TEST(SemaphoreTest, WaitBlocksUntilPost) {
  Semaphore event;
  event.Init(0, 1);
  std::atomic<bool> posted{false};
  std::atomic<bool> seen{false};
  std::thread waiter([&] {
    event.Wait();
    seen = posted.load();
  });
  posted = true;
  event.Post();
  waiter.join();
  EXPECT_TRUE(seen);
}

TEST(SemaphoreTest, PostAtTheMaximumHasNoEffect) {
  Semaphore event;
  event.Init(0, 1);
  event.Post();
  event.Post();
  event.Wait();
  // Had the second Post counted, this thread would not need the third.
  std::atomic<bool> postedAgain{false};
  std::atomic<bool> seen{false};
  std::atomic<bool> waiting{false};
  std::thread waiter([&] {
    waiting = true;
    waiting.notify_one();
    event.Wait();
    seen = postedAgain.load();
  });
  waiting.wait(false);
  std::this_thread::yield();
  postedAgain = true;
  event.Post();
  waiter.join();
  EXPECT_TRUE(seen);
}

TEST(SemaphoreTest, OneOfOneIsALock) {
  Semaphore lock;
  lock.Init(1, 1);
  int counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 2000; ++j) {
        lock.Wait();
        ++counter;
        lock.Post();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 8000);
}

TEST(SemaphoreTest, EveryPostWakesOneWaiter) {
  Semaphore semaphore;
  semaphore.Init(0, 100);
  std::atomic<int> through{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      semaphore.Wait();
      ++through;
    });
  }
  for (int i = 0; i < 8; ++i) semaphore.Post();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(through, 8);
}

}  // namespace
}  // namespace tarvex
