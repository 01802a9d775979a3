#include "service/modules/storage/deadline.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

bool ComesWithin(const std::stop_token& token, std::chrono::milliseconds time) {
  std::mutex mutex;
  std::unique_lock lock(mutex);
  std::condition_variable_any().wait_for(lock, token, time, [] { return false; });
  return token.stop_requested();
}

TEST(DeadlineTest, ComesByItself) {
  const Deadline deadline(1ms);
  EXPECT_TRUE(ComesWithin(deadline.Token(), 1min));
}

TEST(DeadlineTest, DoesNotComeBefore) {
  const Deadline deadline(1h);
  EXPECT_FALSE(deadline.Token().stop_requested());
}

TEST(DeadlineTest, EndsWithItsOwner) {
  std::stop_token token;
  {
    const Deadline deadline(1h);
    token = deadline.Token();
  }
  EXPECT_TRUE(token.stop_requested());
}

}  // namespace
}  // namespace orvan::storage
