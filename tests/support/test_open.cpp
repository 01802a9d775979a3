#include "tests/support/test_open.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <utility>

// In the place of the system's own.
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
