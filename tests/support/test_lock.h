#pragma once

#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <utility>

// What another process does in the moment before this thread's next lock; then none.
inline thread_local std::function<void()> beforeLock;  // NOLINT(cert-err58-cpp)

// The errno value with which this thread's next locks fail; 0 for none.
inline thread_local int lockError = 0;

// In the place of the system's own. Included by one file of a test program.
extern "C" int flock(int file, int operation) noexcept {
  if (const auto other = std::exchange(beforeLock, nullptr)) other();
  if (lockError != 0 && operation != LOCK_UN) {
    errno = lockError;
    return -1;
  }
  return static_cast<int>(syscall(SYS_flock, file, operation));
}
