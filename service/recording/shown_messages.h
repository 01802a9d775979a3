#pragma once

#include <chrono>
#include <optional>
#include <thread>

#include "service/machine/kept_machine.h"

namespace orvan::recording {

// Gives the operator's screen the time to show each message of a test before the next one takes its
// place: it shows the last one whenever it looks (frontend/cadence.h). Which messages it shows
// would otherwise hang on the pace, and a replay, which takes no time, would show other ones. One
// thread.
class ShownMessages {
 public:
  using Moment = machine::KeptMachine::Moment;

  void OnShown(Moment moment) {
    if (moment == Moment::kTestBegins) {
      messages_ = 0;
      return;
    }
    if (messages_ > 0 && messages_ < kMostWaitedFor) std::this_thread::sleep_until(last_ + kLook);
    ++messages_;
    last_ = std::chrono::steady_clock::now();
  }

 private:
  // A look, and what it may be late by on a busy machine.
  static constexpr std::chrono::milliseconds kLook{1000};
  // A test that says more than that must not take for ever.
  static constexpr int kMostWaitedFor = 8;

  int messages_ = 0;  // of this test
  std::chrono::steady_clock::time_point last_;
};

}  // namespace orvan::recording
