#pragma once

#include <algorithm>
#include <chrono>

#include "system/timer.h"

namespace tarvex {

// The pace of a tool's progress lines and of its look at the keyboard: the first whole millisecond
// above a quarter of a second.
inline constexpr std::chrono::milliseconds kToolCadence{251};

// What is due once in that time, by a timer that outlives it. One thread.
class ToolPace {
 public:
  explicit ToolPace(Timer& timer) : timer_(timer), latest_(timer.Now()) {}

  // How long nothing is due.
  std::chrono::milliseconds Left() const {
    const Tick passed = timer_.Now() - latest_;
    return kToolCadence - std::min(kToolCadence, std::chrono::milliseconds(passed));
  }
  // From now on the whole time is left.
  void Restart() { latest_ = timer_.Now(); }

 private:
  Timer& timer_;
  Tick latest_;
};

}  // namespace tarvex
