#pragma once

#include <cstdint>

class HostSystemEvents;
class OrvanService;

// From here on the host layer's threads reach this service; null: they reach none, and no call of
// theirs is under way any more. A new service is told what happened before it was there: a
// termination request and the system events. Main thread.
void PublishService(OrvanService* service);

// Called by the host layer for each termination request: stops the service's run once.
bool OnSignal(int signal, std::uintptr_t first, std::uintptr_t second);

// Registers the front end's handlers for system events. Forgets, here and in the service, the
// events that happened before. Main thread.
void RegisterSystemEventHandlers(HostSystemEvents* events);

// While a run is under way the log-off and shutdown events wait for its end. Main thread.
void HoldSystemEvents();
void ReleaseSystemEvents();

// Holds the events of one run, and lets them go when it ends, however it ends.
class SystemEventsHold {
 public:
  SystemEventsHold() { HoldSystemEvents(); }
  ~SystemEventsHold() { ReleaseSystemEvents(); }
  SystemEventsHold(const SystemEventsHold&) = delete;
  SystemEventsHold& operator=(const SystemEventsHold&) = delete;
};
