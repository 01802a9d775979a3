#include "service/modules/storage/drive/drive_lock.h"

#include <utility>

#include "service/modules/storage/ata/identify.h"

namespace orvan::storage {

bool HasPassword(const DiskFacts& facts) {
  return facts.identify && facts.identify->security.isEnabled;
}

bool MayBeLocked(const DiskFacts& facts) {
  if (facts.identify) return facts.identify->security.isEnabled;
  return facts.transport == Transport::kSata || facts.transport == Transport::kUsb;
}

bool IsLocked(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop) {
  const DriveLink link(access, facts, std::move(stop));
  if (link.Protocol() != DriveProtocol::kAta || !link.Opening().IsDone()) return false;
  const auto identify = ata::DecodeIdentify(link.Opening().data);
  return identify.value && identify.value->security.isLocked;
}

}  // namespace orvan::storage
