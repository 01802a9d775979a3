#pragma once

#include <sys/types.h>

#include <cstdint>

#include "boundary/hostlayer_user_account.h"

namespace tarvex {

// True for root, or for a set with CAP_SYS_RAWIO, CAP_SYS_ADMIN and CAP_DAC_READ_SEARCH all in it.
// Bit n of the set is capability n.
bool MayRunDiagnostics(uid_t effectiveUser, std::uint64_t effectiveCapabilities);

class UserAccount final : public HostUserAccount {
 public:
  bool HasPrivileges() override;
};

}  // namespace tarvex
