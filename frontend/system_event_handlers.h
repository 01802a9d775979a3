#pragma once

class HostSystemEvents;

// Registers the front end's handlers for system events. Forgets, here and in the service, the
// events that happened before. Main thread.
void RegisterSystemEventHandlers(HostSystemEvents* events);

// While a run is under way the log-off and shutdown events wait for its end. Main thread.
void HoldSystemEvents();
void ReleaseSystemEvents();

// Lets the events go when a run ends, however it ends.
class SystemEventsRelease {
 public:
  SystemEventsRelease() = default;
  ~SystemEventsRelease() { ReleaseSystemEvents(); }
  SystemEventsRelease(const SystemEventsRelease&) = delete;
  SystemEventsRelease& operator=(const SystemEventsRelease&) = delete;
};
