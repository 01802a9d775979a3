#pragma once

#include <functional>

#include "service/sdk/awake_clock.h"

namespace orvan::machine {

// Judges a thread that reads and of which nothing is heard: one that hangs in the kernel, and so
// the device with it, or one that stands still for reasons that are none of the device's. One
// thread; times are those of one sdk::AwakeClock.
class SilenceWatch {
 public:
  enum class Finding {
    kNone,
    kAsk,      // it is to be asked for a sign of life
    kHung,     // it has been in the kernel for longer than its limit
    kStalled,  // it was stopped, or got no processor, for longer than anybody waits
  };

  SilenceWatch(sdk::AwakeClock::Duration hungLimit, sdk::AwakeClock::Duration stallLimit)
      : hungLimit_(hungLimit), stallLimit_(stallLimit) {}

  // A message came, or something is waited for from now on.
  void Heard(sdk::AwakeClock::Duration now);
  // To be called at least every sdk::kAwakePace while something is waited for. `state` tells the
  // thread's state as ThreadState does and is asked only when an answer is overdue.
  Finding Look(sdk::AwakeClock::Duration now, const std::function<char()>& state);

 private:
  sdk::AwakeClock::Duration hungLimit_;
  sdk::AwakeClock::Duration stallLimit_;
  sdk::AwakeClock::Duration lastSign_{};
  sdk::AwakeClock::Duration lastLook_{};
  sdk::AwakeClock::Duration stalled_{};  // of the time since the last sign
  bool asked_ = false;
};

}  // namespace orvan::machine
