#pragma once

#include <cstddef>
#include <stop_token>
#include <utility>
#include <vector>

#include "service/modules/storage/partitions.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// What is on the disks of one scan. The search knows how much of that the kernel and the device
// manager tell; what only a look at the medium or at a mounted file system does is looked at when
// somebody wants to know, and no more than once. One thread at a time.
class DiskContents {
 public:
  // The machine outlives it.
  DiskContents(sdk::Machine& machine, std::vector<PartitionSearch> searches)
      : machine_(machine), searches_(std::move(searches)) {}

  // All disks share the time, so that each is looked at, whatever the others do (ProbeInTurns).
  void LookAtAll(std::stop_token stop);
  void LookAt(std::size_t disk, std::stop_token stop);
  // As far as is known, in the order of the index.
  std::vector<Partition> Of(std::size_t disk) const { return searches_.at(disk).Found(); }

 private:
  sdk::Machine& machine_;
  std::vector<PartitionSearch> searches_;  // by the place of the disk in the scan
};

}  // namespace orvan::storage
