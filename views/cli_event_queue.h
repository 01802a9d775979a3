#pragma once

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>

#include "boundary/hostlayer_semaphore.h"
#include "views/cli_event.h"

namespace tarvex {

// A semaphore of the host layer for the life of this object. Any thread.
class OwnedSemaphore {
 public:
  OwnedSemaphore(int initial, int maximum);
  ~OwnedSemaphore();
  OwnedSemaphore(const OwnedSemaphore&) = delete;
  OwnedSemaphore& operator=(const OwnedSemaphore&) = delete;

  void Wait() { semaphore_->Wait(); }
  void Post() { semaphore_->Post(); }

 private:
  HostSemaphore* semaphore_;
};

}  // namespace tarvex

// Carries the events of a run from the service's threads to the main thread, and bounds how far the
// service runs ahead of the display: at most one diagnostic and one test are open. Any thread may
// push; the main thread alone takes.
class CliEventQueue {
 public:
  CliEventQueue() = default;
  // Waits for a push that is just ending; no other may begin.
  ~CliEventQueue();
  CliEventQueue(const CliEventQueue&) = delete;
  CliEventQueue& operator=(const CliEventQueue&) = delete;

  // Appends the event and wakes who waits for a change.
  void Push(CliEvent event);
  // The oldest event, still in the queue and valid until Pop; null when there is none.
  const CliEvent* Front();
  // Removes the oldest event; nothing when there is none.
  void Pop();
  bool IsEmpty();

  // Blocks until an event is in the queue.
  void WaitForEvent();
  // Blocks until `ready()` holds, at most for `longest`; returns what `ready()` said last. It is
  // asked at once and after each push or NotifyChange, with the change lock held, so it may look
  // at flags and at IsEmpty, and must not push.
  template <class Ready>
  bool WaitForChange(std::chrono::milliseconds longest, Ready ready) {
    std::unique_lock lock(changeLock_);
    return changed_.wait_for(lock, longest, ready);
  }
  // Tells the waiting thread that something other than the queue changed.
  void NotifyChange();

 private:
  tarvex::OwnedSemaphore queueLock_{1, 1};  // guards events_

 public:
  // The suite listener waits on it after a diagnostic's start; posted when that event is taken.
  tarvex::OwnedSemaphore startAcknowledge{0, 1};
  // Taken before a diagnostic's start is posted; given back at its end.
  tarvex::OwnedSemaphore diagnosticGate{1, 1};
  // Taken before a test's start is posted; given back at its end.
  tarvex::OwnedSemaphore testGate{1, 1};

 private:
  std::list<CliEvent> events_;
  std::mutex changeLock_;  // taken before queueLock_ where both are
  std::condition_variable changed_;
};
