#pragma once

#include <condition_variable>
#include <mutex>

#include "boundary/hostlayer_semaphore.h"

namespace tarvex {

class Semaphore final : public HostSemaphore {
 public:
  void Wait() override;
  void Post() override;
  // Values outside the range are brought into it.
  void Init(int initial, int maximum) override;

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  int count_ = 0;    // guarded by mutex_
  int maximum_ = 1;  // guarded by mutex_
};

}  // namespace tarvex
