#include "service/machine/silence_watch.h"

#include "service/machine/thread_state.h"

namespace orvan::machine {

void SilenceWatch::Heard(sdk::AwakeClock::Duration now) {
  lastSign_ = now;
  lastLook_ = now;
  stalled_ = {};
  asked_ = false;
}

SilenceWatch::Finding SilenceWatch::Look(sdk::AwakeClock::Duration now,
                                         const std::function<char()>& state) {
  const sdk::AwakeClock::Duration passed = now - std::exchange(lastLook_, now);
  const sdk::AwakeClock::Duration silence = now - lastSign_;
  if (silence < sdk::kAwakePace) return Finding::kNone;
  if (!std::exchange(asked_, true)) return Finding::kAsk;
  if (silence < 2 * sdk::kAwakePace) return Finding::kNone;
  // One that lives waits for orders and answers at once.
  if (state() != kInKernel) {
    stalled_ += passed;
    return stalled_ > stallLimit_ ? Finding::kStalled : Finding::kNone;
  }
  return silence - stalled_ > hungLimit_ ? Finding::kHung : Finding::kNone;
}

}  // namespace orvan::machine
