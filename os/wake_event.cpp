#include "os/wake_event.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cstdint>
#include <vector>

namespace tarvex {

WakeEvent::WakeEvent() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void WakeEvent::Set() const {
  const std::uint64_t one = 1;
  // It fails only when the event is set already.
  [[maybe_unused]] const ssize_t written = write(event_.Get(), &one, sizeof(one));
}

void WakeEvent::Clear() const {
  std::uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = read(event_.Get(), &count, sizeof(count));
}

bool WaitForAny(std::span<const int> descriptors, std::chrono::milliseconds limit) {
  std::vector<pollfd> ready;
  ready.reserve(descriptors.size());
  for (const int descriptor : descriptors) ready.push_back({descriptor, POLLIN, 0});
  return poll(ready.data(), ready.size(), static_cast<int>(limit.count())) != 0;
}

}  // namespace tarvex
