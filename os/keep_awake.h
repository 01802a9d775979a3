#pragma once

#include <chrono>
#include <string>

#include "os/system_bus.h"

namespace tarvex {

// Keeps the machine from idling and from sleeping on its own for the object's life, by an
// inhibitor of the login manager. Where there is no system bus or no login manager it does nothing
// and says nothing. One thread.
// Source: org.freedesktop.login1(5), Inhibit.
class KeepAwake {
 public:
  // Waits for the bus at `busSocket` and the login manager at most for `patience`.
  explicit KeepAwake(std::chrono::milliseconds patience = std::chrono::milliseconds(100),
                     const std::string& busSocket = kSystemBusSocket);
  ~KeepAwake();
  KeepAwake(const KeepAwake&) = delete;
  KeepAwake& operator=(const KeepAwake&) = delete;

  bool IsHeld() const { return inhibitor_ >= 0; }

 private:
  int inhibitor_ = -1;  // open as long as the inhibitor is to hold
};

}  // namespace tarvex
