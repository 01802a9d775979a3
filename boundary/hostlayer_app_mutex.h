#pragma once

// The single-instance lock of the application. Main thread.
class HostAppMutex {
 public:
  virtual ~HostAppMutex() = default;
  // True when another instance holds the lock; false takes it for this instance, until
  // release_app_mutex or the end of the process, however it ends.
  virtual bool IsAlreadyRunning() = 0;
};
