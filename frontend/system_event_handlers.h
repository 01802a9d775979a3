#pragma once

class HostSystemEvents;

// Registers the front end's handlers for system events. Forgets, here and in the service, the
// events that happened before. Main thread.
void RegisterSystemEventHandlers(HostSystemEvents* events);

// While a run is under way the log-off and shutdown events wait for its end. Main thread.
void HoldSystemEvents();
void ReleaseSystemEvents();
