#pragma once

// A counting semaphore with a maximum. Any thread.
class HostSemaphore {
 public:
  virtual ~HostSemaphore() = default;
  // Takes one count, blocking.
  virtual void Wait() = 0;
  // Gives one count back. At the maximum it has no effect.
  virtual void Post() = 0;
  // Called once before any other operation. 0 <= initial <= maximum, maximum >= 1.
  virtual void Init(int initial, int maximum) = 0;
};
