#include "tools/tool_event_queue.h"

#include <thread>

#include "tests/fakes/tool_test.h"

namespace {

// An event that tells who it is.
class NamedEvent : public ToolEvent {
 public:
  NamedEvent(int eventNumber, bool progress, int* freed = nullptr)
      : number(eventNumber), progress_(progress), freed_(freed) {}
  ~NamedEvent() override {
    if (freed_ != nullptr) ++*freed_;
  }
  void apply(ToolEventContext& /*context*/) override {}
  bool IsProgress() const override { return progress_; }

  const int number;

 private:
  bool progress_;
  int* freed_;
};

class ToolEventQueueTest : public ToolTest {
 protected:
  void Append(int number, bool progress = false, int* freed = nullptr) {
    queue.Append(std::make_unique<NamedEvent>(number, progress, freed));
  }
  std::vector<int> TakeAll() {
    std::vector<int> numbers;
    while (const auto event = queue.Take()) {
      numbers.push_back(static_cast<NamedEvent&>(*event).number);
    }
    return numbers;
  }

  ToolEventQueue queue;
};

TEST_F(ToolEventQueueTest, HasOneSemaphoreOfOneOfOneAndGivesItBack) {
  {
    ToolEventQueue other;
    ASSERT_EQ(host().semaphores.size(), 2U);
    EXPECT_EQ(host().semaphores.back()->Initial(), 1);
    EXPECT_EQ(host().semaphores.back()->Maximum(), 1);
  }
  EXPECT_EQ(host().semaphores.size(), 1U);
}

TEST_F(ToolEventQueueTest, TakesTheSemaphoreAroundEveryAccess) {
  FakeSemaphore& semaphore = *host().semaphores.back();
  Append(1);
  EXPECT_EQ(semaphore.Waits(), 1);
  queue.Count();
  EXPECT_EQ(semaphore.Waits(), 2);
  queue.Take();
  EXPECT_EQ(semaphore.Waits(), 3);
  EXPECT_EQ(semaphore.Count(), 1);
}

TEST_F(ToolEventQueueTest, EventsComeInTheirOrder) {
  EXPECT_EQ(queue.Take(), nullptr);
  for (int number = 1; number <= 3; ++number) Append(number);
  EXPECT_EQ(queue.Count(), 3U);
  EXPECT_EQ(TakeAll(), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(ToolEventQueueTest, NullIsNoEvent) {
  queue.Append(nullptr);
  EXPECT_EQ(queue.Count(), 0U);
}

TEST_F(ToolEventQueueTest, OfProgressInARowTheLastIsKept) {
  Append(1);
  Append(2, true);
  Append(3, true);
  Append(4, true);
  Append(5);
  Append(6, true);
  EXPECT_EQ(TakeAll(), (std::vector<int>{1, 4, 5, 6}));
}

TEST_F(ToolEventQueueTest, ProgressThatWasTakenIsNotReplaced) {
  Append(1, true);
  const auto taken = queue.Take();
  Append(2, true);
  EXPECT_EQ(static_cast<NamedEvent&>(*taken).number, 1);
  EXPECT_EQ(TakeAll(), (std::vector<int>{2}));
}

TEST_F(ToolEventQueueTest, AFloodOfProgressDoesNotGrowTheQueue) {
  int freed = 0;
  for (int number = 0; number < 100000; ++number) Append(number, true, &freed);
  EXPECT_EQ(queue.Count(), 1U);
  EXPECT_EQ(freed, 99999);
  EXPECT_EQ(TakeAll(), (std::vector<int>{99999}));
}

TEST_F(ToolEventQueueTest, WakesForAnEventAndForAChange) {
  std::thread service([this] { Append(1); });
  queue.WaitForChange(std::chrono::minutes(5), [](bool isEmpty) { return !isEmpty; });
  EXPECT_EQ(queue.Count(), 1U);
  service.join();
  std::atomic<bool> flag{false};
  std::thread worker([&] {
    flag = true;
    queue.NotifyChange();
  });
  queue.WaitForChange(std::chrono::minutes(5), [&flag](bool) { return flag.load(); });
  EXPECT_TRUE(flag);
  worker.join();
}

TEST_F(ToolEventQueueTest, EventsOfManyThreadsAllArrive) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      for (int i = 0; i < 500; ++i) Append(thread * 500 + i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<int> numbers = TakeAll();
  std::vector<int> next{0, 500, 1000, 1500};
  for (const int number : numbers)
    EXPECT_EQ(number, next[static_cast<std::size_t>(number / 500)]++);
  EXPECT_EQ(next, (std::vector<int>{500, 1000, 1500, 2000}));
}

}  // namespace
