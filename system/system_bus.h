#pragma once

#include <unistd.h>

#include <cstdlib>

namespace tarvex {

// True when a connection to the system bus is worth trying; a missing bus then costs nothing.
// Source: D-Bus Specification, "Well-known Message Bus Instances".
inline bool HasSystemBus() {
  return ::secure_getenv("DBUS_SYSTEM_BUS_ADDRESS") != nullptr ||
         ::access("/run/dbus/system_bus_socket", F_OK) == 0;
}

}  // namespace tarvex
