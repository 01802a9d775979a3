#include "service/log/log_sync.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <system_error>
#include <thread>

namespace orvan::log {

using Clock = std::chrono::steady_clock;

struct LogSync::Shared {
  Shared(std::function<void()> call, Pace given) : sync(std::move(call)), pace(given) {}

  const std::function<void()> sync;
  const Pace pace;
  std::mutex mutex;  // guards all below
  std::condition_variable wake;
  std::condition_variable done;
  std::uint64_t asked = 0;     // requests so far
  std::uint64_t finished = 0;  // of these, on the disk
  bool urgent = false;
  bool stop = false;
  bool hasThread = false;
  Clock::time_point lastUrgent = Clock::now() - pace.burst;
  bool isLate = false;  // a wait was in vain, and no sync came back since

  // The new request's number. The thread is only woken when it would not look by itself.
  std::uint64_t Ask(bool isUrgent) {
    const bool isIdle = asked == finished;
    urgent = urgent || isUrgent;
    ++asked;
    if (isIdle || isUrgent) wake.notify_one();
    return asked;
  }

  void Work();
};

void LogSync::Shared::Work() {
  std::unique_lock lock(mutex);
  for (;;) {
    wake.wait(lock, [this] { return asked > finished || stop; });
    if (asked > finished) {
      wake.wait_for(lock, pace.burst, [this] { return urgent || stop; });
      const std::uint64_t reached = asked;
      urgent = false;
      lock.unlock();
      sync();
      lock.lock();
      finished = reached;
      isLate = false;
    }
    if (stop && asked == finished) break;
    done.notify_all();
  }
  hasThread = false;
  done.notify_all();
}

LogSync::LogSync(std::function<void()> sync, Pace pace)
    : shared_(std::make_shared<Shared>(std::move(sync), pace)) {
  shared_->hasThread = true;
  try {
    std::thread([shared = shared_] { shared->Work(); }).detach();
  } catch (const std::system_error&) {
    shared_->hasThread = false;
  }
}

LogSync::~LogSync() {
  std::unique_lock lock(shared_->mutex);
  if (shared_->hasThread) {
    shared_->stop = true;
    shared_->Ask(true);
    shared_->done.wait_for(lock, shared_->pace.patience, [this] { return !shared_->hasThread; });
  }
}

bool LogSync::SyncNow() {
  const Clock::time_point now = Clock::now();
  std::unique_lock lock(shared_->mutex);
  const bool isBurst = now - shared_->lastUrgent < shared_->pace.burst;
  shared_->lastUrgent = now;
  const bool waits = shared_->hasThread && !isBurst && !shared_->isLate;
  const std::uint64_t mine = shared_->Ask(waits);
  if (!waits) return false;
  const bool isDone = shared_->done.wait_for(lock, shared_->pace.patience,
                                             [&] { return shared_->finished >= mine; });
  shared_->isLate = !isDone;
  return isDone;
}

void LogSync::SyncSoon() {
  const std::lock_guard lock(shared_->mutex);
  shared_->Ask(false);
}

}  // namespace orvan::log
