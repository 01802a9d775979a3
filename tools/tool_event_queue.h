#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "system/waiting_queue.h"
#include "tools/tool_event.h"

// Carries the events of a tool's run from the service's threads to the main thread. Any thread may
// append; the main thread alone takes. Its size is bounded by what the tool has to tell, not by how
// often it tells its progress: an event of progress replaces one that is still waiting at the end.
// Nobody can see the difference, for nothing is drawn while events wait.
class ToolEventQueue {
 public:
  // Appends the event and wakes the main thread. Null appends nothing.
  void Append(std::unique_ptr<ToolEvent> event);
  // Takes the oldest event out; null when there is none.
  std::unique_ptr<ToolEvent> Take();
  std::size_t Count() { return events_.Count(); }

  // Blocks until `ready(isEmpty)` holds, at most for `longest`. It is asked at once and after each
  // change, is told whether the queue is empty, and must not ask the queue.
  template <class Ready>
  void WaitForChange(std::chrono::milliseconds longest, Ready ready) {
    events_.WaitForChange(longest, ready);
  }
  // Tells the main thread that something other than the queue changed.
  void NotifyChange() { events_.NotifyChange(); }

 private:
  tarvex::WaitingQueue<std::unique_ptr<ToolEvent>> events_;
};
