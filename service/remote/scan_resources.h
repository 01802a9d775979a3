#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <utility>
#include <vector>

#include "service/protocol/device_record.h"

namespace orvan::remote {

class WorkerHost;

// The resources of one scan's devices. The worker is asked for those of all devices when the first
// one is wanted, and once only. One thread at a time.
class ScanResources {
 public:
  // The host outlives it.
  ScanResources(WorkerHost& host, std::vector<protocol::DeviceName> names)
      : host_(host), names_(std::move(names)) {}

  // Those of the device of that place in the scan. Where the worker had to be given up, who sits
  // before the program is told, and what it had not told has the reason; once `stop` is set, what
  // was told is all.
  const protocol::ResourcesAnswer& Of(std::size_t place, std::stop_token stop);

 private:
  std::vector<protocol::ResourcesAnswer> Ask(std::stop_token stop);

  WorkerHost& host_;
  std::vector<protocol::DeviceName> names_;
  std::optional<std::vector<protocol::ResourcesAnswer>> answers_;  // of all devices
};

}  // namespace orvan::remote
