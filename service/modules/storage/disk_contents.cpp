#include "service/modules/storage/disk_contents.h"

#include "service/modules/storage/probe_turns.h"

namespace orvan::storage {

void DiskContents::LookAtAll(std::stop_token stop) {
  std::vector<PartitionSearch*> all;
  for (PartitionSearch& search : searches_) all.push_back(&search);
  ProbeInTurns(machine_, all, std::move(stop));
}

void DiskContents::LookAt(std::size_t disk, std::stop_token stop) {
  ProbeInTurns(machine_, {&searches_.at(disk)}, std::move(stop));
}

}  // namespace orvan::storage
