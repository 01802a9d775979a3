#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <mutex>

#include "service/sdk/awake_clock.h"

namespace orvan::machine {

// States of a thread as /proc tells them.
// Source: proc(5), /proc/pid/stat, field 3.
inline constexpr char kInKernel = 'D';  // uninterruptible
inline constexpr char kSleeping = 'S';
inline constexpr char kUnknown = '?';

// What a thread of this process does at the moment; kUnknown when it cannot be told. Any thread.
char ThreadState(pid_t thread);

inline constexpr std::chrono::milliseconds kComingGrace{50};
inline constexpr std::chrono::milliseconds kComingLimit{1000};

// Whether a thread that was told to end does so: waits for a moment, and, as long as the thread
// runs or waits for a processor, for a second awake; one that sleeps in the kernel then hangs
// there. `comes` waits so long and tells, with `lock`, which the thread needs for its end, held as
// always.
template <typename Comes, typename Lock>
bool ComesSoon(Comes comes, Lock& lock, const std::atomic<pid_t>& thread) {
  sdk::AwakeClock clock;
  while (!comes(kComingGrace)) {
    // Else the thread may sleep because of us.
    lock.unlock();
    const char state = ThreadState(thread);
    lock.lock();
    if (state == kInKernel || state == kSleeping) return comes(std::chrono::milliseconds(0));
    if (clock.Look() >= kComingLimit) return false;
  }
  return true;
}

}  // namespace orvan::machine
