#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <iterator>
#include <list>
#include <mutex>
#include <optional>
#include <utility>

#include "system/owned_semaphore.h"

namespace tarvex {

// A queue from many threads to one that sleeps while it is empty. Any thread may push; one thread
// alone takes. Elements are freed outside the locks.
template <class Element>
class WaitingQueue {
 public:
  WaitingQueue() = default;
  // The thread that pushed the last element may still be inside Push when that element is already
  // taken; this waits for it. No other push may begin.
  ~WaitingQueue() { const std::lock_guard lock(changeLock_); }
  WaitingQueue(const WaitingQueue&) = delete;
  WaitingQueue& operator=(const WaitingQueue&) = delete;

  // Appends the element and wakes who waits for a change.
  void Push(Element element) {
    Push(std::move(element), [](const Element&, const Element&) { return false; });
  }
  // The same, in place of the newest element when `supersedes(element, newest)` holds.
  template <class Supersedes>
  void Push(Element element, Supersedes supersedes) {
    std::list<Element> added;
    std::list<Element> removed;
    added.push_back(std::move(element));
    const std::lock_guard lock(changeLock_);
    {
      const SemaphoreHolder holder(queueLock_);
      if (!elements_.empty() && supersedes(added.back(), elements_.back())) {
        removed.splice(removed.end(), elements_, std::prev(elements_.end()));
      }
      elements_.splice(elements_.end(), added);
    }
    changed_.notify_all();
  }
  // The oldest element, still in the queue and valid until it is taken or superseded; null when
  // there is none.
  const Element* Front() {
    const SemaphoreHolder holder(queueLock_);
    return elements_.empty() ? nullptr : &elements_.front();
  }
  // Takes the oldest element out; none when there is none.
  std::optional<Element> Take() {
    std::list<Element> taken;
    {
      const SemaphoreHolder holder(queueLock_);
      if (elements_.empty()) return std::nullopt;
      taken.splice(taken.end(), elements_, elements_.begin());
    }
    return std::move(taken.front());
  }
  // Removes the oldest element; nothing when there is none.
  void Pop() { Take(); }
  std::size_t Count() {
    const SemaphoreHolder holder(queueLock_);
    return elements_.size();
  }
  bool IsEmpty() { return Count() == 0; }

  // Blocks until an element is in the queue.
  void WaitForEvent() {
    std::unique_lock lock(changeLock_);
    changed_.wait(lock, [this] { return !IsEmpty(); });
  }
  // Blocks until `ready()` holds, at most for `longest`; returns what `ready()` said last. It is
  // asked at once and after each push or NotifyChange, with the change lock held, so it may look
  // at flags and at IsEmpty, and must not push.
  template <class Ready>
  bool WaitForChange(std::chrono::milliseconds longest, Ready ready) {
    std::unique_lock lock(changeLock_);
    return changed_.wait_for(lock, longest, ready);
  }
  // Tells the waiting thread that something other than the queue changed.
  void NotifyChange() {
    const std::lock_guard lock(changeLock_);
    changed_.notify_all();
  }

 private:
  OwnedSemaphore queueLock_{1, 1};  // guards elements_
  std::list<Element> elements_;
  std::mutex changeLock_;  // taken before queueLock_ where both are
  std::condition_variable changed_;
};

}  // namespace tarvex
