#pragma once

#include <chrono>
#include <functional>
#include <utility>

namespace orvan::sdk {

// Who waits for something looks at its clock at least this often.
inline constexpr std::chrono::milliseconds kAwakePace{250};
// More than this between two looks was no waiting: the process was stopped, frozen, suspended with
// the machine, or got no processor.
inline constexpr std::chrono::milliseconds kLongestAwakeGap{500};

// Time that passes only while its owner is awake to look at it, so that no time limit runs out
// because we were held up. A gap between two looks that is longer than kLongestAwakeGap counts as
// one kAwakePace. One thread.
class AwakeClock {
 public:
  using Duration = std::chrono::steady_clock::duration;
  using Source = std::function<std::chrono::steady_clock::time_point()>;

  explicit AwakeClock(Source now = std::chrono::steady_clock::now)
      : now_(std::move(now)), last_(now_()) {}

  // The time awake since the clock was made. What was waited for is to be looked at again after
  // this look and before it is judged by it.
  Duration Look() {
    const auto now = now_();
    const Duration gap = now - std::exchange(last_, now);
    awake_ += gap > kLongestAwakeGap ? Duration(kAwakePace) : gap;
    return awake_;
  }

 private:
  Source now_;
  std::chrono::steady_clock::time_point last_;
  Duration awake_{};
};

}  // namespace orvan::sdk
