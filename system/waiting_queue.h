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
// alone takes, and may end the queue with its last element. Elements are freed outside the lock.
template <class Element>
class WaitingQueue {
 public:
  WaitingQueue() = default;
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
    const std::lock_guard lock(lock_);
    if (!elements_.empty() && supersedes(added.back(), elements_.back())) {
      removed.splice(removed.end(), elements_, std::prev(elements_.end()));
    }
    elements_.splice(elements_.end(), added);
    changed_.notify_all();
  }
  // The oldest element, still in the queue and valid until it is taken or superseded; null when
  // there is none.
  const Element* Front() {
    const std::lock_guard lock(lock_);
    return elements_.empty() ? nullptr : &elements_.front();
  }
  // Takes the oldest element out; none when there is none.
  std::optional<Element> Take() {
    std::list<Element> taken;
    {
      const std::lock_guard lock(lock_);
      if (elements_.empty()) return std::nullopt;
      taken.splice(taken.end(), elements_, elements_.begin());
    }
    return std::move(taken.front());
  }
  // Removes the oldest element; nothing when there is none.
  void Pop() { Take(); }
  std::size_t Count() {
    const std::lock_guard lock(lock_);
    return elements_.size();
  }
  bool IsEmpty() { return Count() == 0; }

  // Blocks until an element is in the queue.
  void WaitForEvent() {
    std::unique_lock lock(lock_);
    changed_.wait(lock, [this] { return !elements_.empty(); });
  }
  // Blocks until `ready(isEmpty)` holds, at most for `longest`; returns what it said last. It is
  // asked at once and after each push or NotifyChange, inside the queue's lock: it is told whether
  // the queue is empty, may look at flags, and must not ask the queue.
  template <class Ready>
  bool WaitForChange(std::chrono::milliseconds longest, Ready ready) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, longest, [&] { return ready(elements_.empty()); });
  }
  // Tells the waiting thread that something other than the queue changed.
  void NotifyChange() {
    const std::lock_guard lock(lock_);
    changed_.notify_all();
  }

 private:
  OwnedSemaphore lock_{1, 1};  // guards elements_
  std::list<Element> elements_;
  std::condition_variable_any changed_;  // notified inside the lock
};

}  // namespace tarvex
