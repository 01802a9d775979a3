#include "service/modules/storage/drive/hung_drives.h"

#include <utility>

namespace orvan::storage {
namespace {

// Bridges of one make may all tell the same serial number, so the place counts, too. Kernel name
// and device number do not, for a reset may change them.
std::string KeyOf(const DiskFacts& facts) {
  return facts.busPath + '\n' + HardwareIdentity(facts);
}

}  // namespace

void HungDrives::Add(const DiskFacts& facts, std::string reason) {
  const std::lock_guard lock(mutex_);
  reasons_.emplace(KeyOf(facts), std::move(reason));
}

std::optional<std::string> HungDrives::ReasonOf(const DiskFacts& facts) const {
  const std::lock_guard lock(mutex_);
  const auto found = reasons_.find(KeyOf(facts));
  if (found == reasons_.end()) return {};
  return found->second;
}

}  // namespace orvan::storage
