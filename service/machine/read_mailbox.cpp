#include "service/machine/read_mailbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "service/machine/thread_state.h"

namespace orvan::machine {
namespace {}  // namespace

int ReadMailbox::Open() {
  event_.Reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  return event_.IsOpen() ? 0 : errno;
}

void ReadMailbox::Wake() {
  const std::uint64_t one = 1;
  // Full means that the thread is woken already.
  [[maybe_unused]] const ssize_t ignored = write(event_.Get(), &one, sizeof(one));
}

void ReadMailbox::Order(const std::vector<sdk::BlockRead>& reads) {
  {
    const std::lock_guard lock(mutex_);
    orders_.insert(orders_.end(), reads.begin(), reads.end());
  }
  Wake();
}

void ReadMailbox::AskForSign() {
  {
    const std::lock_guard lock(mutex_);
    isAsked_ = true;
  }
  Wake();
}

ReadMailbox::News ReadMailbox::Take(std::vector<sdk::BlockReadResult>& results,
                                    std::chrono::milliseconds wait) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, wait, [this] { return !results_.empty() || hasSign_ || isLost_; });
  News news;
  news.isHeard = !results_.empty() || std::exchange(hasSign_, false);
  news.isLost = isLost_;
  results.insert(results.end(), results_.begin(), results_.end());
  results_.clear();
  return news;
}

void ReadMailbox::End() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  Wake();
  std::unique_lock lock(mutex_);
  const bool isFinished = ComesSoon(
      [&](std::chrono::milliseconds wait) {
        return changed_.wait_for(lock, wait, [this] { return isFinished_; });
      },
      lock, thread_);
  if (isFinished) return;
  isLeft_ = true;
  ++*leftBehind_;
}

void ReadMailbox::Begin() {
  thread_ = gettid();
}

ReadMailbox::Orders ReadMailbox::TakeOrders() {
  std::uint64_t count = 0;
  // Nothing there is no order.
  [[maybe_unused]] const ssize_t ignored = read(event_.Get(), &count, sizeof(count));
  const std::lock_guard lock(mutex_);
  if (std::exchange(isAsked_, false)) {
    hasSign_ = true;
    changed_.notify_all();
  }
  return {std::exchange(orders_, {}), isOver_};
}

void ReadMailbox::Deliver(std::vector<sdk::BlockReadResult>& results) {
  const std::lock_guard lock(mutex_);
  results_.insert(results_.end(), results.begin(), results.end());
  results.clear();
  changed_.notify_all();
}

void ReadMailbox::Lose() {
  const std::lock_guard lock(mutex_);
  isLost_ = true;
  changed_.notify_all();
}

void ReadMailbox::Finish() {
  const std::lock_guard lock(mutex_);
  isFinished_ = true;
  if (isLeft_) --*leftBehind_;
  changed_.notify_all();
}

}  // namespace orvan::machine
