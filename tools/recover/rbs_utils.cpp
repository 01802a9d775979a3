#include "tools/recover/rbs_utils.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "boundary/hostlayer.h"
#include "boundary/orvan_service.h"
#include "system/filesystem/filesystem.h"
#include "tools/decimal.h"

namespace {

constexpr char kPartitionType[] = "PARTITION";
constexpr char kOperationPhysical[] = "physical";
// What the tool reads the partitions of a device from, with the device's id behind it.
constexpr char kPartitionTable[] = "partition_table";

struct TextField {
  const char* label;
  std::string ToolPartitionRecord::*field;
  const char* dropping;  // a value that drops the partition; null: none
};
constexpr std::array kTextFields{
    TextField{"PARTITION_TYPE", &ToolPartitionRecord::partitionType, "EXTENDED"},
    TextField{"MOUNT_POINT", &ToolPartitionRecord::mountPoint, "UNABLE_TO_OBTAIN"},
    TextField{"FILE_SYSTEM", &ToolPartitionRecord::fileSystem, nullptr},
    TextField{"LABEL", &ToolPartitionRecord::label, nullptr},
    TextField{"SIZE", &ToolPartitionRecord::size, nullptr},
    TextField{"USED", &ToolPartitionRecord::used, nullptr},
    TextField{"FREE", &ToolPartitionRecord::free, nullptr},
};
constexpr char kIndexLabel[] = "INDEX";

// Reads the partitions of one device.
class PartitionReader {
 public:
  PartitionReader(const std::string& systemDrive, ToolDeviceRecord& device)
      : systemDrive_(systemDrive), device_(device) {}

  void Read(const DiagResource& resource) {
    ToolPartitionRecord partition;
    for (const auto& [label, value] : resource.pairs) {
      if (!Store(label, value, partition)) return;
    }
    if (partition.fileSystem.empty() || partition.mountPoint.empty()) return;
    partition.index = index_;
    partition.ordinal = static_cast<std::uint32_t>(device_.partitions.size());
    device_.partitions.push_back(std::move(partition));
  }

 private:
  // False when the value drops the partition.
  bool Store(const std::string& label, const std::string& value, ToolPartitionRecord& partition) {
    if (label == kIndexLabel) index_ = static_cast<std::uint32_t>(tarvex::ParseDecimal(value));
    const auto* row = std::find_if(kTextFields.begin(), kTextFields.end(),
                                   [&](const TextField& field) { return label == field.label; });
    if (row == kTextFields.end()) return true;
    if (row->dropping != nullptr && value == row->dropping) return false;
    if (row->field == &ToolPartitionRecord::mountPoint && value == systemDrive_) {
      partition.systemPartition = true;
      device_.systemDevice = true;
    }
    partition.*row->field = value;
    return true;
  }

  const std::string& systemDrive_;
  ToolDeviceRecord& device_;
  // A partition that does not tell its index has that of the one before.
  std::uint32_t index_ = 0;
};

}  // namespace

void RbsUtils::filterDevices(bool refresh, bool physical) {
  const std::string systemDrive(1, get_filesystem()->GetSystemDrive());
  if (refresh) Rescan();
  std::vector<std::string> operation{kToolOperationFilter};
  if (physical) operation.emplace_back(kOperationPhysical);
  SetOperation(operation);
  target().service->RunTool(target().tool, nullptr, runDevices());
  partitionMap_.clear();
  ReadRecords([&systemDrive](DiagDevice& device, ToolDeviceRecord& record) {
    std::vector<DiagResource> resources;
    PartitionReader reader(systemDrive, record);
    for (const DiagResource& resource : device.GetResources(resources)) {
      if (resource.type == kPartitionType) reader.Read(resource);
    }
  });
  for (const ToolDeviceRecord& device : records()) {
    for (const ToolPartitionRecord& partition : device.partitions) {
      partitionMap_[partition.mountPoint] = &partition;
    }
  }
}

void RbsUtils::prepareExecution(RbsSelection& selection, bool perPartition) {
  selection_ = &selection;
  TakePartitionTablesBack();
  const bool all = selection.empty();
  for (const ToolDeviceRecord& device : records()) {
    if (!all && selection.count(device.id) == 0) continue;
    if (perPartition) {
      PreparePartitions(device, all);
      continue;
    }
    selection.try_emplace(device.id);
    AddRunDevice(device);
  }
}

void RbsUtils::TakePartitionTablesBack() {
  for (const std::string& property : std::exchange(tables_, {})) {
    target().tool->SetToolProperty(property, {});
  }
}

// Those that the keys name; of several with one mount point the last, on whatever device.
RbsUtils::Partitions RbsUtils::SelectedPartitions(const std::vector<std::string>& keys) const {
  Partitions partitions;
  for (const std::string& key : keys) {
    const auto found = partitionMap_.find(key);
    if (found != partitionMap_.end()) partitions.push_back(found->second);
  }
  return partitions;
}

void RbsUtils::PreparePartitions(const ToolDeviceRecord& device, bool all) {
  if (device.partitions.empty()) return;
  std::vector<std::string>& keys = (*selection_)[device.id];
  Partitions partitions;
  if (all) {
    for (const ToolPartitionRecord& partition : device.partitions) {
      keys.push_back(partition.mountPoint);
      partitions.push_back(&partition);
    }
  } else {
    partitions = SelectedPartitions(keys);
  }
  AddRunDevice(device);
  SetPartitionTable(device.id, partitions);
}

// Four values for each partition: its key, its file system, its mount point, and whether the
// running system is on it.
void RbsUtils::SetPartitionTable(const std::string& deviceId, const Partitions& partitions) {
  std::vector<std::string> values;
  for (const ToolPartitionRecord* partition : partitions) {
    values.insert(values.end(), {partition->mountPoint, partition->fileSystem,
                                 partition->mountPoint, partition->systemPartition ? "T" : "F"});
  }
  tables_.push_back(kPartitionTable + deviceId);
  target().tool->SetToolProperty(tables_.back(), values);
}
