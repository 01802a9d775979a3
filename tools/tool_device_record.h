#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One partition of a device. Texts are those of the service.
struct ToolPartitionRecord {
  std::uint32_t ordinal = 0;  // among the kept partitions of its device, from 0
  std::string label;
  std::string mountPoint;
  std::string fileSystem;
  std::string partitionType;
  std::string size;
  std::string used;
  std::string free;
  std::uint32_t index = 0;
  bool systemPartition = false;  // the running system is mounted from it
};

// One device of a module, as the tools know it.
struct ToolDeviceRecord {
  std::uint32_t index = 0;  // in the module
  std::string displayName;
  std::string id;
  bool nonRotating = false;
  std::vector<ToolPartitionRecord> partitions;
  bool systemDevice = false;  // it holds the system partition
};
