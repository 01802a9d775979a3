#include "service/worker/orders.h"

#include <utility>

namespace orvan::worker {

bool Orders::Give(Order order) {
  {
    const std::lock_guard lock(mutex_);
    if (busy_) return false;
    request_ = std::visit([](const auto& given) { return given.request; }, order);
    next_ = std::move(order);
    stop_ = std::stop_source();
    reason_ = sdk::StopReason::kNone;
    answer_.reset();
    busy_ = true;
  }
  changed_.notify_all();
  return true;
}

bool Orders::Answer(protocol::ToolAnswer answer) {
  {
    const std::lock_guard lock(mutex_);
    if (!busy_ || answer.request != request_ || answer_) return false;
    answer_ = std::move(answer);
  }
  changed_.notify_all();
  return true;
}

void Orders::Stop(std::uint64_t request, sdk::StopReason reason) {
  std::stop_source stop(std::nostopstate);
  {
    const std::lock_guard lock(mutex_);
    if (!busy_ || request != request_) return;
    reason_ = reason;
    stop = stop_;
  }
  stop.request_stop();
}

Order Orders::Take() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return next_.has_value(); });
  return *std::exchange(next_, std::nullopt);
}

std::stop_token Orders::StopToken() const {
  const std::lock_guard lock(mutex_);
  return stop_.get_token();
}

void Orders::Finish() {
  const std::lock_guard lock(mutex_);
  busy_ = false;
}

protocol::ToolAnswer Orders::AwaitAnswer() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return answer_.has_value(); });
  return *std::exchange(answer_, std::nullopt);
}

}  // namespace orvan::worker
