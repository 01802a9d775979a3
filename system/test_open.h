#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <functional>
#include <utility>

// What another process does in the moment after this thread's next opening of a file for writing;
// then none.
inline thread_local std::function<void()> afterOpen;  // NOLINT(cert-err58-cpp)

// In the place of the system's own. Included by one file of a test program.
extern "C" int openat(int folder, const char* name, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, unsigned) : 0U;
  va_end(more);
  const auto opened = static_cast<int>(syscall(SYS_openat, folder, name, flags, mode));
  if ((flags & O_ACCMODE) != O_RDONLY) {
    if (const auto other = std::exchange(afterOpen, nullptr)) other();
  }
  return opened;
}
