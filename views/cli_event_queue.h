#pragma once

#include "system/waiting_queue.h"
#include "views/cli_event.h"

// Carries the events of a run from the service's threads to the main thread, and bounds how far the
// service runs ahead of the display: at most one diagnostic and one test are open. Any thread may
// push; the main thread alone takes.
class CliEventQueue : public tarvex::WaitingQueue<CliEvent> {
 public:
  // The suite listener waits on it after a diagnostic's start; posted when that event is taken.
  tarvex::OwnedSemaphore startAcknowledge{0, 1};
  // Taken before a diagnostic's start is posted; given back at its end.
  tarvex::OwnedSemaphore diagnosticGate{1, 1};
  // Taken before a test's start is posted; given back at its end.
  tarvex::OwnedSemaphore testGate{1, 1};
};
