#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "service/modules/storage/disk.h"

namespace orvan::storage {

// The drives that let a command run into its time limit. Each such command makes the kernel reset
// the drive and the bridge in front of it, so they get no other one as long as this lives. All
// links of a process share one; any thread.
class HungDrives {
 public:
  void Add(const DiskFacts& facts, std::string reason);
  // Why a drive is left alone; none: it is not.
  std::optional<std::string> ReasonOf(const DiskFacts& facts) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> reasons_;  // guarded by mutex_
};

}  // namespace orvan::storage
