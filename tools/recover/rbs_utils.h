#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/tool_devices.h"

// The devices that the user chose, and under each the mount points of the partitions.
using RbsSelection = std::map<std::string, std::vector<std::string>>;

// The devices and partitions of the Recover Bad Sectors tool. Main thread; findDevice any.
class RbsUtils : public ToolDevices {
 public:
  explicit RbsUtils(const ToolTarget& target) : ToolDevices(target) {}

  // Has the tool filter the module's devices, and reads them with their partitions. `refresh`
  // searches anew first; `physical` asks the tool for whole disks. Throws std::out_of_range for a
  // device that does not say whether it rotates.
  void filterDevices(bool refresh, bool physical);
  // Gathers the devices of the run from a selection, which stays where it is until the run is over;
  // without any, all devices, which it then names. `perPartition` also tells the tool which
  // partitions of each device are meant, passing over devices that have none.
  void prepareExecution(RbsSelection& selection, bool perPartition);

  // Under their mount points; of several the last.
  const std::map<std::string, const ToolPartitionRecord*>& partitionMap() const {
    return partitionMap_;
  }

 private:
  void PreparePartitions(const ToolDeviceRecord& device, bool all);
  void SetPartitionTable(const std::string& deviceId, const std::vector<std::string>& keys);

  std::map<std::string, const ToolPartitionRecord*> partitionMap_;  // into the records
  RbsSelection* selection_ = nullptr;
};
