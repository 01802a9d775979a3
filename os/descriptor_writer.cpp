#include "os/descriptor_writer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace tarvex {
namespace {

// The longest wait before the patience is asked again.
constexpr int kAskMs = 100;
// What a pipe that has room takes at once. Source: POSIX.1-2017, write(), PIPE_BUF.
constexpr std::size_t kPieceSize = PIPE_BUF;

int ForEver() {
  return -1;
}

// 0 when the descriptor has room, or a fault that the next write tells.
int AwaitRoom(int descriptor, const WritePatience& patience) {
  for (int waitedMs = 0;;) {
    const int limitMs = patience();
    const int waitMs = limitMs < 0 ? kAskMs : std::clamp(limitMs - waitedMs, 0, kAskMs);
    pollfd room{descriptor, POLLOUT, 0};
    const int ready = poll(&room, 1, waitMs);
    if (ready > 0) return 0;
    if (ready < 0 && errno != EINTR) return errno;
    if (ready == 0 && waitMs == 0) return ETIMEDOUT;
    if (ready == 0) waitedMs += waitMs;
  }
}

}  // namespace

int WriteAll(int descriptor, const void* bytes, std::size_t size, const WritePatience& patience) {
  if (descriptor < 0 && size > 0) return EBADF;
  const char* next = static_cast<const char*>(bytes);
  bool isFull = false;
  while (size > 0) {
    if (patience || isFull) {
      const int error = AwaitRoom(descriptor, patience ? patience : ForEver);
      if (error != 0) return error;
    }
    // A blocking descriptor that has room must not block either, so no more than fits goes at once.
    const ssize_t written = write(descriptor, next, patience ? std::min(size, kPieceSize) : size);
    isFull = written < 0 && errno == EAGAIN;
    if (written > 0) {
      next += written;
      size -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      return EIO;
    } else if (!isFull && errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace tarvex
