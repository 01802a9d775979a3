#include "views/cli_event_queue.h"

#include <utility>

#include "boundary/hostlayer.h"

namespace tarvex {

OwnedSemaphore::OwnedSemaphore(int initial, int maximum) : semaphore_(GetNewSemaphore()) {
  semaphore_->Init(initial, maximum);
}

OwnedSemaphore::~OwnedSemaphore() {
  ReleaseSemaphoreInstance(semaphore_);
}

}  // namespace tarvex

namespace {

// Holds one count of a semaphore.
class Holder {
 public:
  explicit Holder(tarvex::OwnedSemaphore& semaphore) : semaphore_(semaphore) { semaphore_.Wait(); }
  ~Holder() { semaphore_.Post(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

 private:
  tarvex::OwnedSemaphore& semaphore_;
};

}  // namespace

CliEventQueue::~CliEventQueue() {
  // The thread that pushed the last event may still be inside Push when that event is already
  // taken; it leaves with the release of this lock.
  const std::lock_guard lock(changeLock_);
}

void CliEventQueue::Push(CliEvent event) {
  std::list<CliEvent> added;
  added.push_back(std::move(event));
  const std::lock_guard lock(changeLock_);
  {
    const Holder holder(queueLock_);
    events_.splice(events_.end(), added);
  }
  changed_.notify_all();
}

const CliEvent* CliEventQueue::Front() {
  const Holder holder(queueLock_);
  return events_.empty() ? nullptr : &events_.front();
}

void CliEventQueue::Pop() {
  std::list<CliEvent> removed;
  const Holder holder(queueLock_);
  if (!events_.empty()) {
    removed.splice(removed.end(), events_, events_.begin());
  }
}

bool CliEventQueue::IsEmpty() {
  const Holder holder(queueLock_);
  return events_.empty();
}

void CliEventQueue::WaitForEvent() {
  std::unique_lock lock(changeLock_);
  changed_.wait(lock, [this] { return !IsEmpty(); });
}

void CliEventQueue::NotifyChange() {
  const std::lock_guard lock(changeLock_);
  changed_.notify_all();
}
