#pragma once

#include <chrono>
#include <span>

#include "os/descriptor.h"

namespace tarvex {

// Wakes a thread that waits for descriptors. Once set it stays so until it is cleared.
class WakeEvent {
 public:
  // Not open when the system has no descriptor left.
  WakeEvent();
  bool IsOpen() const { return event_.IsOpen(); }
  int Get() const { return event_.Get(); }
  // Any thread; never waits.
  void Set() const;
  void Clear() const;

 private:
  Descriptor event_;
};

// Waits up to `limit`, for ever when it is negative, until one of the descriptors can be read or
// its other side is gone; a negative descriptor is passed over. True when there is something to do;
// that a signal came is something, too. Any thread.
bool WaitForAny(std::span<const int> descriptors, std::chrono::milliseconds limit);

}  // namespace tarvex
