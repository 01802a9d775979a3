#pragma once

#include <algorithm>
#include <cerrno>
#include <initializer_list>

namespace orvan::sdk {

// Errors of a read that failed at a device, and of what was not tried.

// A recording does not hold the answer: our own fault, and nothing about the device.
inline constexpr int kNotRecorded = ENOMSG;

// The device has left the machine, or its medium the device.
inline bool MeansGone(int error) {
  return error == ENODEV || error == ENXIO || error == ENOMEDIUM;
}

// The kernel or we are to blame, never the device.
inline bool IsOwnFault(int error) {
  static constexpr std::initializer_list<int> kOwnFaults = {EAGAIN, EINTR,  ENOMEM,    EINVAL,
                                                            EFAULT, EBADF,  EPERM,     EACCES,
                                                            EBUSY,  ENOSYS, ECANCELED, EOPNOTSUPP};
  return std::find(kOwnFaults.begin(), kOwnFaults.end(), error) != kOwnFaults.end();
}

}  // namespace orvan::sdk
