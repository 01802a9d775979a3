#include "views/cli_event_queue.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/test_host.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;

class CliEventQueueTest : public testing::Test {
 protected:
  ScopedTestHost host_;
};

TEST_F(CliEventQueueTest, SemaphoresAreMadeInOrderWithTheirValuesAndGivenBack) {
  {
    CliEventQueue queue;
    std::vector<std::pair<int, int>> values;
    for (const auto& semaphore : host_->semaphores) {
      values.push_back(semaphore->initValues);
    }
    const std::vector<std::pair<int, int>> expected{{1, 1}, {0, 1}, {1, 1}, {1, 1}};
    EXPECT_EQ(values, expected);
    queue.startAcknowledge.Post();
    EXPECT_EQ(host_->semaphores[1]->Count(), 1);
    queue.diagnosticGate.Wait();
    EXPECT_EQ(host_->semaphores[2]->Count(), 0);
    queue.testGate.Wait();
    EXPECT_EQ(host_->semaphores[3]->Count(), 0);
  }
  EXPECT_EQ(host_->semaphoreReleases, 4);
  EXPECT_TRUE(host_->semaphores.empty());
}

TEST_F(CliEventQueueTest, EventsComeInOrderAndFrontKeepsThem) {
  CliEventQueue queue;
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(queue.Front(), nullptr);
  queue.Push({kEventDiagnosticStart, DiagnosticStartRecord{"one"}});
  queue.Push({kEventTestFinished, TestFinishedRecord{4, 5, 6}});
  EXPECT_FALSE(queue.IsEmpty());
  EXPECT_EQ(queue.Front()->id, kEventDiagnosticStart);
  EXPECT_EQ(std::get<DiagnosticStartRecord>(queue.Front()->payload).name, "one");
  queue.Pop();
  EXPECT_EQ(queue.Front()->id, kEventTestFinished);
  EXPECT_EQ(std::get<TestFinishedRecord>(queue.Front()->payload).end, 6U);
  queue.Pop();
  EXPECT_TRUE(queue.IsEmpty());
  queue.Pop();
  EXPECT_TRUE(queue.IsEmpty());
}

TEST_F(CliEventQueueTest, FrontStaysValidWhileOthersPush) {
  CliEventQueue queue;
  queue.Push({kEventDiagnosticStart, DiagnosticStartRecord{"one"}});
  const CliEvent* front = queue.Front();
  for (int i = 0; i < 1000; ++i) {
    queue.Push({kEventSuiteStart, {}});
  }
  EXPECT_EQ(std::get<DiagnosticStartRecord>(front->payload).name, "one");
  EXPECT_EQ(queue.Front(), front);
}

TEST_F(CliEventQueueTest, QueueLockIsHeldAroundEachAccess) {
  CliEventQueue queue;
  int waits = 0;
  host_->semaphores[0]->onWait = [&waits] { ++waits; };
  queue.Push({kEventSuiteStart, {}});
  EXPECT_EQ(waits, 1);
  queue.Front();
  EXPECT_EQ(waits, 2);
  queue.IsEmpty();
  EXPECT_EQ(waits, 3);
  queue.Pop();
  EXPECT_EQ(waits, 4);
  EXPECT_EQ(host_->semaphores[0]->Count(), 1);
}

TEST_F(CliEventQueueTest, WaitForEventReturnsAtAPush) {
  CliEventQueue queue;
  std::thread service([&queue] { queue.Push({kEventSuiteStart, {}}); });
  queue.WaitForEvent();
  EXPECT_EQ(queue.Front()->id, kEventSuiteStart);
  service.join();
}

TEST_F(CliEventQueueTest, WaitForChangeEndsWithItsTime) {
  CliEventQueue queue;
  EXPECT_FALSE(queue.WaitForChange(milliseconds(1), [](bool) { return false; }));
}

TEST_F(CliEventQueueTest, WaitForChangeAsksAtOnce) {
  CliEventQueue queue;
  EXPECT_TRUE(queue.WaitForChange(milliseconds(0), [](bool isEmpty) { return isEmpty; }));
}

TEST_F(CliEventQueueTest, WaitForChangeAsksInsideTheQueueLockAndGivesItBack) {
  CliEventQueue queue;
  int held = -1;
  queue.WaitForChange(milliseconds(0), [&](bool) {
    held = host_->semaphores[0]->Count();
    return true;
  });
  EXPECT_EQ(held, 0);
  EXPECT_EQ(host_->semaphores[0]->Count(), 1);
}

TEST_F(CliEventQueueTest, WaitForChangeWakesForAFlagAndForAPush) {
  CliEventQueue queue;
  std::atomic<bool> flag{false};
  std::thread service([&] {
    flag = true;
    queue.NotifyChange();
  });
  EXPECT_TRUE(queue.WaitForChange(minutes(5), [&flag](bool) { return flag.load(); }));
  service.join();
  std::thread pusher([&queue] { queue.Push({kEventSuiteFinished, {}}); });
  EXPECT_TRUE(queue.WaitForChange(minutes(5), [](bool isEmpty) { return !isEmpty; }));
  pusher.join();
}

TEST_F(CliEventQueueTest, EventsOfManyThreadsAllArriveEachThreadsInOrder) {
  constexpr unsigned kThreads = 4;
  constexpr Tick kEvents = 500;
  CliEventQueue queue;
  std::vector<std::thread> threads;
  for (unsigned thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&queue, thread] {
      for (Tick i = 0; i < kEvents; ++i) {
        queue.Push({kEventTestFinished, TestFinishedRecord{thread, i, 0}});
      }
    });
  }
  std::array<Tick, kThreads> next{};
  for (unsigned i = 0; i < kThreads * kEvents; ++i) {
    queue.WaitForEvent();
    const auto& record = std::get<TestFinishedRecord>(queue.Front()->payload);
    EXPECT_EQ(record.start, next[record.status]++);
    queue.Pop();
  }
  EXPECT_TRUE(queue.IsEmpty());
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(CliEventQueueTest, MayEndWhileTheLastPushIsStillReturning) {
  for (int i = 0; i < 200; ++i) {
    auto queue = std::make_unique<CliEventQueue>();
    std::atomic<bool> first{true};
    std::promise<void> pushed;
    host_->semaphores[0]->onPost = [&] {
      if (first.exchange(false)) pushed.set_value();
    };
    std::thread service([raw = queue.get()] { raw->Push({kEventSuiteFinished, {}}); });
    pushed.get_future().wait();
    queue->Pop();
    queue.reset();
    service.join();
  }
  EXPECT_EQ(host_->semaphoreReleases, 800);
}

}  // namespace
