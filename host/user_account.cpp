#include "host/user_account.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace tarvex {
namespace {

constexpr std::uint64_t Bit(unsigned capability) {
  return std::uint64_t{1} << capability;
}

constexpr std::uint64_t kNeeded =
    Bit(CAP_SYS_RAWIO) | Bit(CAP_SYS_ADMIN) | Bit(CAP_DAC_READ_SEARCH);

// The effective set of the calling thread; empty when the system does not tell.
std::uint64_t EffectiveCapabilities() {
  __user_cap_header_struct header{};
  header.version = _LINUX_CAPABILITY_VERSION_3;
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
  if (::syscall(SYS_capget, &header, data.data()) != 0) return 0;
  return (std::uint64_t{data[1].effective} << 32) | data[0].effective;
}

}  // namespace

bool MayRunDiagnostics(uid_t effectiveUser, std::uint64_t effectiveCapabilities) {
  return effectiveUser == 0 || (effectiveCapabilities & kNeeded) == kNeeded;
}

bool UserAccount::HasPrivileges() {
  return MayRunDiagnostics(::geteuid(), EffectiveCapabilities());
}

}  // namespace tarvex
