#pragma once

#include <memory>
#include <stop_token>

#include "service/sdk/device.h"

namespace orvan::sdk {

// What a running search of a module's devices may touch. Lives as long as the call; the search's
// own thread.
class ScanContext {
 public:
  virtual ~ScanContext() = default;
  // A device, in the order of ids. It counts from here on, whatever becomes of the search, so its
  // id is one that nothing found later would change; who numbers devices by an order tells the
  // first when all places are known. Throws std::length_error for more than a search may find.
  virtual void Found(std::unique_ptr<Device> device) = 0;
  // When it is set the search ends within half a second.
  virtual std::stop_token StopToken() const = 0;
};

}  // namespace orvan::sdk
