#pragma once

#include <optional>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

namespace orvan::sdk {

// A device that a module found. Immutable after the scan; any thread.
class Device {
 public:
  virtual ~Device() = default;
  // What the command line names, unique in the module; shown and taken without what steers a
  // terminal.
  virtual std::string Id() const = 0;
  // A value that begins with "_" is a message key; a text of the device itself must not.
  virtual DeviceInformation Information() const = 0;
  virtual std::vector<DiagResource> Resources() const = 0;
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
