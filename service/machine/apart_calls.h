#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

#include "service/sdk/awake_clock.h"

namespace orvan::machine {

// How many calls hang in the kernel, left behind by who made them. Any thread.
using LeftBehindCount = std::atomic<std::size_t>;

// Keeps signals to the process from the calling thread, for they are for the process' own threads;
// what the thread itself breaks it still hears of.
void BlockSignals();

// Makes calls that may never come back from the kernel, each on a thread apart from the caller's,
// and leaves behind what does not. Any thread; its end waits for nobody.
class ApartCalls {
 public:
  enum class End {
    kDone,
    kHung,      // it slept in the kernel for longer than the time limit
    kStalled,   // its thread was stopped, or got no processor, for longer than anybody waits
    kStopped,   // the stop token was set, and it did not come back right after
    kNotTried,  // there was no thread for it
  };
  struct Limits {
    std::chrono::milliseconds time{30000};  // only time counts in which we were awake
    std::stop_token stop = {};
    std::chrono::milliseconds stall{60000};
  };

  explicit ApartCalls(std::shared_ptr<LeftBehindCount> leftBehind)
      : leftBehind_(std::move(leftBehind)) {}
  ~ApartCalls();
  ApartCalls(const ApartCalls&) = delete;
  ApartCalls& operator=(const ApartCalls&) = delete;

  // What `work` touches it must own, for it may run long after this has returned and all else is
  // gone. An exception that leaves it passes to the caller. `took`, where given, is the time awake
  // until the end.
  End Run(std::function<void()> work, const Limits& limits,
          sdk::AwakeClock::Duration* took = nullptr);

  // The same for work that has a result; none unless the end is kDone.
  template <typename Work>
  auto Ask(Work work, const Limits& limits, End& end, sdk::AwakeClock::Duration* took = nullptr) {
    using Result = decltype(work());
    const auto result = std::make_shared<std::optional<Result>>();
    end = Run([result, work = std::move(work)] { result->emplace(work()); }, limits, took);
    return end == End::kDone ? std::move(*result) : std::optional<Result>();
  }

 private:
  class Lane;
  std::shared_ptr<Lane> TakeLane();

  const std::shared_ptr<LeftBehindCount> leftBehind_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<Lane>> idle_;  // guarded by mutex_
};

}  // namespace orvan::machine
