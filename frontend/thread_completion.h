#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

// Through this a device scan reports its end. The service thread finishes it, the main thread
// clears it and waits.
class ThreadCompletion {
 public:
  void Clear() {
    const std::lock_guard guard(mutex_);
    done = false;
    value = 0;
  }
  // The waiting thread may end this object as soon as the lock is free, so nothing follows it.
  void Finish(std::uint64_t answer) {
    const std::lock_guard guard(mutex_);
    value = answer;
    done = true;
    finished_.notify_all();
  }
  // Returns as soon as the scan is over, after `longest` at the latest; true when it is over.
  bool WaitDone(std::chrono::milliseconds longest) {
    std::unique_lock guard(mutex_);
    return finished_.wait_for(guard, longest, [this] { return done; });
  }

  // Written under the lock; read without it while no scan is under way.
  bool done = false;
  std::uint64_t value = 0;

 private:
  std::mutex mutex_;
  std::condition_variable finished_;
};
