#include "host/semaphore.h"

#include <algorithm>

namespace tarvex {

void Semaphore::Wait() {
  std::unique_lock lock(mutex_);
  posted_.wait(lock, [this] { return count_ > 0; });
  --count_;
}

void Semaphore::Post() {
  const std::lock_guard lock(mutex_);
  if (count_ == maximum_) return;
  ++count_;
  // Under the lock: the waiter may end the semaphore as soon as it has the count.
  posted_.notify_one();
}

void Semaphore::Init(int initial, int maximum) {
  const std::lock_guard lock(mutex_);
  maximum_ = std::max(maximum, 1);
  count_ = std::clamp(initial, 0, maximum_);
}

}  // namespace tarvex
