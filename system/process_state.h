#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "system/abort_state.h"

class Cli;
class HostAppMutex;
class HostSemaphore;
class OrvanService;

// All state that belongs to the process and not to an object, in one place. Each member says who
// writes it and who reads it.
struct ProcessState {
  // The single-instance lock, once it is this instance's. It is given back by the end of the
  // process and by nothing before. Main thread.
  HostAppMutex* instanceLock = nullptr;
  // The one application object. Main thread; set by its constructor, cleared by its destructor.
  Cli* cli = nullptr;
  // The service, as host layer threads may use it: only under serviceMutex, so that it cannot end
  // while one of them is in a call. Written by the main thread.
  std::mutex serviceMutex;
  OrvanService* service = nullptr;
  // System event bits that happened. Host layer threads set bits; the main thread clears them.
  std::atomic<std::uint32_t> systemEventWord{0};
  // Handlers whose event bit is set here wait. Main thread writes and notifies.
  std::atomic<std::uint32_t> SystemEventHoldMask{0};
  // A semaphore of 0 of 1, made with the application object.
  HostSemaphore* semaphore = nullptr;
  AbortState abort;
};

ProcessState& GetProcessState();
