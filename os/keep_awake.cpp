#include "os/keep_awake.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
namespace tarvex {
namespace {

using Clock = std::chrono::steady_clock;

struct BusClose {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusClose>;
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

// What is left until the deadline, in microseconds.
std::uint64_t Left(Clock::time_point deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<std::uint64_t>(left) : 0;
}

// Goes through the bus's greeting, which has no time limit of its own that would be short enough.
bool AwaitReady(sd_bus* bus, Clock::time_point deadline) {
  while (sd_bus_is_ready(bus) == 0) {
    const int progress = sd_bus_process(bus, nullptr);
    if (progress < 0) return false;
    if (progress > 0) continue;
    const std::uint64_t left = Left(deadline);
    if (left == 0 || sd_bus_wait(bus, left) < 0) return false;
  }
  return sd_bus_is_ready(bus) > 0;
}

Bus OpenReadyBus(const std::string& socket, Clock::time_point deadline) {
  Bus owner(HasSystemBus(socket) ? OpenSystemBus(socket) : nullptr);
  sd_bus* const bus = owner.get();
  if (bus == nullptr || !AwaitReady(bus, deadline)) return nullptr;
  // 0 would stand for the library's own, long limit.
  const std::uint64_t left = std::max<std::uint64_t>(Left(deadline), 1);
  return sd_bus_set_method_call_timeout(bus, left) < 0 ? nullptr : std::move(owner);
}

// The descriptor whose closing ends the inhibitor; -1 when there is none.
int TakeInhibitor(sd_bus* bus) {
  sd_bus_message* reply = nullptr;
  const int called =
      sd_bus_call_method(bus, "org.freedesktop.login1", "/org/freedesktop/login1",
                         "org.freedesktop.login1.Manager", "Inhibit", nullptr, &reply, "ssss",
                         "idle:sleep", "Tarvex Diagnostics", "Diagnostics are running", "block");
  const Message owner(reply);
  int inhibitor = -1;
  if (called < 0 || sd_bus_message_read(reply, "h", &inhibitor) < 0) return -1;
  // The message closes the one that it brought.
  return fcntl(inhibitor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace

KeepAwake::KeepAwake(std::chrono::milliseconds patience, const std::string& busSocket) {
  const Bus bus = OpenReadyBus(busSocket, Clock::now() + patience);
  if (bus != nullptr) inhibitor_ = TakeInhibitor(bus.get());
}

KeepAwake::~KeepAwake() {
  if (inhibitor_ >= 0) close(inhibitor_);
}

}  // namespace tarvex
