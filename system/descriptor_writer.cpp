#include "system/descriptor_writer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace tarvex {

int WriteAll(int descriptor, const void* bytes, std::size_t size) {
  const char* next = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t written = write(descriptor, next, size);
    if (written > 0) {
      next += written;
      size -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      return EIO;
    } else if (errno == EAGAIN) {
      pollfd waiting{descriptor, POLLOUT, 0};
      if (poll(&waiting, 1, -1) < 0 && errno != EINTR) return errno;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace tarvex
