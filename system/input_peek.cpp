#include "system/input_peek.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace tarvex {
namespace {

constexpr short kEnded = POLLHUP | POLLERR | POLLNVAL;

bool IsStream(int descriptor) {
  struct stat about {};
  return fstat(descriptor, &about) == 0 && (S_ISFIFO(about.st_mode) || S_ISSOCK(about.st_mode));
}

}  // namespace

InputPeek::InputPeek(int descriptor)
    : descriptor_(IsStream(descriptor) ? descriptor : -1),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

InputPeek::~InputPeek() {
  if (wake_ >= 0) {
    close(wake_);
  }
}

// What poll says of the descriptor; 0 when nothing happened in time or Wake ended the wait.
int InputPeek::Wait(int descriptor, int timeoutMs) {
  std::array<pollfd, 2> waits{{{descriptor, POLLIN, 0}, {wake_, POLLIN, 0}}};
  if (poll(waits.data(), waits.size(), timeoutMs) <= 0) return 0;
  std::uint64_t count = 0;
  if (waits[1].revents != 0 && read(wake_, &count, sizeof count) > 0) return 0;
  return waits[0].revents & (POLLIN | kEnded);
}

int InputPeek::Take(unsigned char* bytes, std::size_t capacity, int timeoutMs) {
  const int happened = Wait(descriptor_, timeoutMs);
  if (happened == 0) return kNoByteWaiting;
  const ssize_t got = (happened & POLLIN) != 0 ? read(descriptor_, bytes, capacity) : 0;
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
  [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
}

}  // namespace tarvex
