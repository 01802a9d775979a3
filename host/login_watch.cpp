#include "host/login_watch.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include "host/login_connection.h"

namespace tarvex {
namespace {

constexpr std::chrono::milliseconds kFirstPause{250};
constexpr std::chrono::milliseconds kLongestPause{30000};

// The stop came within that time.
bool StopsWithin(int stopDescriptor, std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        std::max(end - std::chrono::steady_clock::now(), std::chrono::nanoseconds::zero()));
    pollfd waiting{stopDescriptor, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) return true;
  }
}

}  // namespace

void WatchLogin(int stopDescriptor, const std::string& busSocket, const SystemEventSink& sink) {
  auto pause = kFirstPause;
  while (true) {
    LoginConnection connection(busSocket, sink);
    if (connection.Serve(stopDescriptor) == LoginConnection::End::kStopped) return;
    if (connection.WasEstablished()) pause = kFirstPause;
    if (StopsWithin(stopDescriptor, pause)) return;
    pause = std::min(pause * 2, kLongestPause);
  }
}

}  // namespace tarvex
