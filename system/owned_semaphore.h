#pragma once

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_semaphore.h"

namespace tarvex {

// A semaphore of the host layer for the life of this object. One of 1 of 1 is a lock for
// std::lock_guard and its kin. Any thread.
class OwnedSemaphore {
 public:
  OwnedSemaphore(int initial, int maximum) : semaphore_(GetNewSemaphore()) {
    semaphore_->Init(initial, maximum);
  }
  ~OwnedSemaphore() { ReleaseSemaphoreInstance(semaphore_); }
  OwnedSemaphore(const OwnedSemaphore&) = delete;
  OwnedSemaphore& operator=(const OwnedSemaphore&) = delete;

  void Wait() { semaphore_->Wait(); }
  void Post() { semaphore_->Post(); }
  void lock() { Wait(); }
  void unlock() { Post(); }

 private:
  HostSemaphore* semaphore_;
};

}  // namespace tarvex
