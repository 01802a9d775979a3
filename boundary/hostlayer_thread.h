#pragma once

#include <cstdint>

struct HostThreadState;
// Names a started thread until Join. Owned by the host layer.
using HostThreadHandle = HostThreadState*;
// What a thread runs; the value it ends with is kept for nobody.
using HostThreadFunction = std::uintptr_t (*)(void* argument);

class HostThread {
 public:
  virtual ~HostThread() = default;
  // Starts a thread. `name` is shown by the system's tools, cut to what they take. 0 on success,
  // and then *handle names the thread; otherwise an errno value and *handle is null.
  virtual int Start(HostThreadHandle* handle, int reserved, HostThreadFunction function,
                    void* argument, const char* name) = 0;
  virtual void Reserved1() {}
  // Waits for the thread's end and ends the handle. A null handle returns at once.
  virtual void Join(HostThreadHandle handle) = 0;
  // Called right after each successful Start.
  virtual void AfterStart(HostThreadHandle handle, int reserved) = 0;
};
