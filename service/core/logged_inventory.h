#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/core/module_adapter.h"
#include "service/log/log_artifacts.h"

namespace orvan::core {

// What the log says of the service's modules and their devices. Service thread.
class LoggedInventory {
 public:
  // Adds the modules and those of their devices that were found so far to what the run's start
  // says.
  void List(const std::vector<std::unique_ptr<ModuleAdapter>>& modules, log::LogSubject& subject);
  // The run's start could not say it.
  void Unlist() { listed_ = 0; }

  // A device, which keeps its id in the log for the life of the service.
  const log::LogHardware& Of(const ModuleAdapter& module, const DeviceAdapter& device);
  bool IsListed(const DeviceAdapter& device) const;

 private:
  struct Entry {
    log::LogHardware hardware;
    std::size_t number = 0;
  };
  std::map<const DeviceAdapter*, Entry> devices_;
  std::size_t listed_ = 0;  // those with smaller numbers stand in the run's start
};

}  // namespace orvan::core
