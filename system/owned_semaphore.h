#pragma once

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_semaphore.h"

namespace tarvex {

// A semaphore of the host layer for the life of this object. Any thread.
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

 private:
  HostSemaphore* semaphore_;
};

// Holds one count of a semaphore.
class SemaphoreHolder {
 public:
  explicit SemaphoreHolder(OwnedSemaphore& semaphore) : semaphore_(semaphore) { semaphore_.Wait(); }
  ~SemaphoreHolder() { semaphore_.Post(); }
  SemaphoreHolder(const SemaphoreHolder&) = delete;
  SemaphoreHolder& operator=(const SemaphoreHolder&) = delete;

 private:
  OwnedSemaphore& semaphore_;
};

}  // namespace tarvex
