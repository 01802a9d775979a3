#pragma once

#include <string>

struct sd_bus;

namespace tarvex {

// The one system bus that a process with many rights talks to, whatever its environment says: an
// address may also name a program to be started.
// Source: D-Bus Specification, "Well-known Message Bus Instances".
inline constexpr char kSystemBusSocket[] = "/run/dbus/system_bus_socket";

// True when a connection to the bus at this socket is worth trying; a missing bus then costs
// nothing. Any thread.
bool HasSystemBus(const std::string& socket);

// Begins a connection to the bus at this socket, an absolute path; does not wait for it. Null when
// that fails; else the caller releases it. Any thread.
sd_bus* OpenSystemBus(const std::string& socket);

}  // namespace tarvex
