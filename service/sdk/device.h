#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

namespace orvan::sdk {

// A device that a module found. What it says is the same from the scan on; any thread, but for its
// resources.
class Device {
 public:
  virtual ~Device() = default;
  // What the command line names, unique in the module; shown and taken without what steers a
  // terminal.
  virtual std::string Id() const = 0;
  // A value that begins with "_" is a message key; a text of the device itself must not.
  virtual DeviceInformation Information() const = 0;
  // What there is on it, such as partitions. Asked when somebody wants to see it and not in a scan,
  // so this is the place for looks that take their time. Once `stop` is set it ends within half a
  // second, with what is known by then. One thread at a time, and none
  // while a scan, a test or a tool is under way.
  virtual std::vector<DiagResource> Resources(std::stop_token stop) const = 0;
  // Stable across reboots: a serial number or a bus path, never an index.
  virtual std::string UniqueId() const = 0;
  // Why the scan could not look at the device as it should have, as a message key; none: it could.
  // Such a device keeps its id and its place. It is listed, each test of it is invalid for this
  // reason, and no test or tool of the module gets to see it.
  virtual std::optional<std::string> WhyUntestable() const { return std::nullopt; }
  // The text reported when the device's run ends; none: the service makes it.
  virtual std::optional<std::string> ResultText() const { return std::nullopt; }
};

}  // namespace orvan::sdk
