#include "service/modules/storage/locked_drive.h"

#include <utility>

#include "service/modules/storage/ata/identify.h"

namespace orvan::storage {

bool IsLocked(const DriveAccess& access, const DiskFacts& facts, std::stop_token stop) {
  const DriveLink link(access, facts, std::move(stop));
  if (link.Protocol() != DriveProtocol::kAta || !link.Opening().IsDone()) return false;
  const auto identity = ata::DecodeIdentify(link.Opening().data);
  return identity.value && identity.value->security.isLocked;
}

}  // namespace orvan::storage
