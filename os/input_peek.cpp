#include "os/input_peek.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>

namespace tarvex {
namespace {

constexpr short kEnded = POLLHUP | POLLERR | POLLNVAL;

mode_t KindOf(int descriptor) {
  struct stat about {};
  return fstat(descriptor, &about) == 0 ? about.st_mode & S_IFMT : 0;
}

// The same pipe with a setting of its own: O_NONBLOCK on the descriptor itself would hold for every
// process that shares it, and be left behind at our end. -1 for a pipe that is only written: what
// is in it is for somebody else.
int OpenUnblocked(int pipe) {
  if ((fcntl(pipe, F_GETFL) & O_ACCMODE) == O_WRONLY) return -1;
  const std::string name = "/proc/self/fd/" + std::to_string(pipe);
  return open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

}  // namespace

InputPeek::InputPeek(int descriptor) : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  const mode_t kind = KindOf(descriptor);
  isSocket_ = kind == S_IFSOCK;
  if (kind == S_IFIFO) unblocked_.Reset(OpenUnblocked(descriptor));
  if (kind == S_IFIFO || isSocket_) {
    descriptor_ = unblocked_.IsOpen() ? unblocked_.Get() : descriptor;
  }
}

// What poll says of the descriptor; 0 when nothing happened in time or Wake ended the wait.
int InputPeek::Wait(int descriptor, int timeoutMs) {
  std::array<pollfd, 2> waits{{{descriptor, POLLIN, 0}, {wake_.Get(), POLLIN, 0}}};
  if (poll(waits.data(), waits.size(), timeoutMs) <= 0) return 0;
  std::uint64_t count = 0;
  if (waits[1].revents != 0 && read(wake_.Get(), &count, sizeof count) > 0) return 0;
  return waits[0].revents & (POLLIN | kEnded);
}

// Doesn't wait: between poll and here another process may have taken what was there.
ssize_t InputPeek::Read(unsigned char* bytes, std::size_t capacity) const {
  return isSocket_ ? recv(descriptor_, bytes, capacity, MSG_DONTWAIT)
                   : read(descriptor_, bytes, capacity);
}

int InputPeek::Take(unsigned char* bytes, std::size_t capacity, int timeoutMs) {
  const int happened = Wait(descriptor_, timeoutMs);
  if (happened == 0) return kNoByteWaiting;
  const ssize_t got = (happened & POLLIN) != 0 ? Read(bytes, capacity) : 0;
  if (got > 0) return static_cast<int>(got);
  if (got < 0 && (errno == EINTR || errno == EAGAIN)) return kNoByteWaiting;
  descriptor_ = -1;
  return kInputClosed;
}

void InputPeek::Rest(int milliseconds) {
  Wait(-1, milliseconds);
}

void InputPeek::Wake() {
  const std::uint64_t one = 1;
  // A counter that is full wakes just as well.
  [[maybe_unused]] const ssize_t written = write(wake_.Get(), &one, sizeof one);
}

}  // namespace tarvex
