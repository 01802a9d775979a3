#pragma once

#include <atomic>
#include <cstdint>

#include "service/sdk/run_state.h"

namespace orvan::core {

// What the caller asked of, or told, whatever runs. Any thread.
class RunRequests {
 public:
  // The end of the program, or a forced abort of a tool, was asked for. Once it was, it stays so
  // for the life of the service: what may write begins no more.
  void Terminate() { isTerminating_ = true; }
  bool IsTerminating() const { return isTerminating_; }

  // The diagnostics are to stop: the first reason counts.
  void Stop(sdk::StopReason reason) {
    sdk::StopReason none = sdk::StopReason::kNone;
    why_.compare_exchange_strong(none, reason);
  }
  sdk::StopReason WhyStop() const { return why_; }

  // The system events that nobody has cleared since.
  void AddEvents(std::uint32_t bits) { events_ |= bits; }
  void ClearEvents() { events_ = 0; }
  std::uint32_t Events() const { return events_; }

 private:
  std::atomic<bool> isTerminating_{false};
  std::atomic<sdk::StopReason> why_{sdk::StopReason::kNone};
  std::atomic<std::uint32_t> events_{0};
};

}  // namespace orvan::core
