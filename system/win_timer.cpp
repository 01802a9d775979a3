#include "system/win_timer.h"

#include <sched.h>
#include <time.h>

#include <cerrno>

namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;

}  // namespace

WinTimer& WinTimer::Instance() {
  static WinTimer timer;
  return timer;
}

void WinTimer::Sleep(std::uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  timespec left{static_cast<time_t>(milliseconds / 1000),
                static_cast<long>(milliseconds % 1000) * kNanosecondsPerMillisecond};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
  }
}

double WinTimer::SecondsBetween(Tick start, Tick end) {
  return static_cast<double>(static_cast<Tick>(end - start)) / 1000.0;
}

Tick WinTimer::Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<Tick>(static_cast<std::uint64_t>(now.tv_sec) * 1000U +
                           static_cast<std::uint64_t>(now.tv_nsec / kNanosecondsPerMillisecond));
}

void WinTimer::ClearTick(Tick* tick) {
  *tick = 0;
}

bool WinTimer::IsClear(const Tick* tick) {
  return *tick == 0;
}

bool WinTimer::TicksEqual(const Tick* left, const Tick* right) {
  return *left == *right;
}
