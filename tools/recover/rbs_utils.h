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
  // searches anew first; `physical` asks the tool for whole disks. Throws ToolDataError for a
  // device that does not say whether it rotates.
  void filterDevices(bool refresh, bool physical);
  // Adds the devices of a selection to those of the run; without any, all devices, which it then
  // names. The selection stays where it is until the run is over. What an earlier call told the
  // tool of partitions is taken back. `perPartition` tells it anew: the partitions that the
  // selection names under each device, or all; devices that have none are passed over.
  void prepareExecution(RbsSelection& selection, bool perPartition);

  // Under their mount points; of several the last.
  const std::map<std::string, const ToolPartitionRecord*>& partitionMap() const {
    return partitionMap_;
  }

 private:
  using Partitions = std::vector<const ToolPartitionRecord*>;

  void TakePartitionTablesBack();
  Partitions SelectedPartitions(const std::vector<std::string>& keys) const;
  void PreparePartitions(const ToolDeviceRecord& device, bool all);
  void SetPartitionTable(const std::string& deviceId, const Partitions& partitions);

  std::map<std::string, const ToolPartitionRecord*> partitionMap_;  // into the records
  RbsSelection* selection_ = nullptr;
  std::vector<std::string> tables_;  // the properties with partitions that the tool was given
};
