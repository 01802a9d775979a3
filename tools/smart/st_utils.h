#pragma once

#include <set>
#include <string>

#include "tools/tool_devices.h"

// The devices of the SMART tool. Partitions are nothing to it. Main thread; findDevice any.
class STUtils : public ToolDevices {
 public:
  explicit STUtils(const ToolTarget& target) : ToolDevices(target) {}

  // Sets the filtering operation, which stays set through the run, and reads the module's devices;
  // the tool itself is not run. `refresh` searches anew first. Throws ToolDataError for a
  // device that does not say whether it rotates.
  void filterDevices(bool refresh);
  // Adds to the devices of the run those of the selection, which stays where it is until the run is
  // over, or all for an empty one.
  void prepareExecution(const std::set<std::string>& selection);

 private:
  const std::set<std::string>* selection_ = nullptr;
};
