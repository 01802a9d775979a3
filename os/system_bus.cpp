#include "os/system_bus.h"

#include <systemd/sd-bus.h>
#include <unistd.h>

namespace tarvex {

bool HasSystemBus(const std::string& socket) {
  return access(socket.c_str(), F_OK) == 0;
}

sd_bus* OpenSystemBus(const std::string& socket) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  if (sd_bus_set_address(bus, ("unix:path=" + socket).c_str()) >= 0 &&
      sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0) {
    return bus;
  }
  return sd_bus_unref(bus);
}

}  // namespace tarvex
