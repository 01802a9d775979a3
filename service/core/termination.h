#pragma once

#include <atomic>

namespace orvan::core {

// Whether the end of the program, or a forced abort of a tool, was asked for. Once it was, it stays
// so for the life of the service: what may write begins no more. Any thread.
class Termination {
 public:
  void Request() { requested_ = true; }
  bool IsRequested() const { return requested_; }

 private:
  std::atomic<bool> requested_{false};
};

}  // namespace orvan::core
