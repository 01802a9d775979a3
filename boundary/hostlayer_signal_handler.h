#pragma once

#include <cstdint>

// Called on a thread of the host layer for each termination request, with the signal's number and
// two words that nothing depends on.
using HostSignalCallback = bool (*)(int signal, std::uintptr_t first, std::uintptr_t second);

// Termination requests: SIGINT, SIGTERM, SIGHUP. Any thread.
class HostSignalHandler {
 public:
  virtual ~HostSignalHandler() = default;
  // Adds the function; one that is already there stays once.
  virtual void SetHandler(HostSignalCallback function) = 0;
  // Takes the function out. When it returns the function is not running and will not be called.
  virtual void RemoveHandler(HostSignalCallback function) = 0;
};
