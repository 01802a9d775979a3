#pragma once

#include <atomic>
#include <cstdint>

namespace orvan::core {

// What the caller asked of, or told, whatever runs. Any thread.
class RunRequests {
 public:
  // The end of the program, or a forced abort of a tool, was asked for. Once it was, it stays so
  // for the life of the service: what may write begins no more.
  void Terminate() { isTerminating_ = true; }
  bool IsTerminating() const { return isTerminating_; }

  // The system events that nobody has cleared since.
  void AddEvents(std::uint32_t bits) { events_ |= bits; }
  void ClearEvents() { events_ = 0; }
  std::uint32_t Events() const { return events_; }

 private:
  std::atomic<bool> isTerminating_{false};
  std::atomic<std::uint32_t> events_{0};
};

}  // namespace orvan::core
