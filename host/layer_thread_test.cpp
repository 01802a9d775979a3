#include "host/layer_thread.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <array>
#include <atomic>
#include <chrono>

#include "tests/support/test_threads.h"

namespace tarvex {
namespace {

void WaitFor(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  while (::poll(&waiting, 1, -1) < 0) {
  }
}

TEST(LayerThreadTest, EndWakesTheBodyAndWaitsForIt) {
  auto ended = std::make_shared<std::atomic<bool>>(false);
  auto thread = LayerThread::Start("layer", [ended](int stop) {
    WaitFor(stop);
    *ended = true;
  });
  ASSERT_NE(thread, nullptr);
  EXPECT_FALSE(*ended);
  thread.reset();
  EXPECT_TRUE(*ended);
}

TEST(LayerThreadTest, TakesABodyThatEndsByItself) {
  EXPECT_NE(LayerThread::Start("layer", [](int) {}), nullptr);
}

TEST(LayerThreadTest, IsNullWithoutAThread) {
  const RefusedThreads refused;
  EXPECT_EQ(LayerThread::Start("layer", [](int) {}), nullptr);
}

TEST(LayerThreadTest, KnowsWhetherItIsTheCaller) {
  std::atomic<LayerThread*> self{nullptr};
  std::atomic<int> answer{-1};
  auto thread = LayerThread::Start("layer", [&](int) {
    self.wait(nullptr);
    answer = self.load()->IsCurrent() ? 1 : 0;
    answer.notify_one();
  });
  ASSERT_NE(thread, nullptr);
  EXPECT_FALSE(thread->IsCurrent());
  self = thread.get();
  self.notify_one();
  answer.wait(-1);
  EXPECT_EQ(answer, 1);
}

TEST(LayerThreadTest, EndLeavesABodyBehindThatIsHeldUp) {
  struct Gate {
    std::atomic<bool> open{false};
    std::atomic<bool> passed{false};
  };
  auto gate = std::make_shared<Gate>();
  auto thread = LayerThread::Start("layer", [gate](int) {
    gate->open.wait(false);
    gate->passed = true;
    gate->passed.notify_one();
  });
  ASSERT_NE(thread, nullptr);
  // Returns although the body can't.
  thread.reset();
  EXPECT_FALSE(gate->passed);
  gate->open = true;
  gate->open.notify_one();
  gate->passed.wait(false);
}

}  // namespace
}  // namespace tarvex
