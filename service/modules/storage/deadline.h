#pragma once

#include <chrono>
#include <stop_token>
#include <thread>

namespace orvan::storage {

// A stop token that is set when some time has passed, and at the latest when this ends. For what
// must be done after a stop, which may not take long either. Any thread.
class Deadline {
 public:
  explicit Deadline(std::chrono::milliseconds time);
  std::stop_token Token() const { return source_.get_token(); }

 private:
  std::stop_source source_;
  std::jthread timer_;
};

}  // namespace orvan::storage
