#pragma once

#include <sys/types.h>

namespace orvan::machine {

// States of a thread as /proc tells them.
// Source: proc(5), /proc/pid/stat, field 3.
inline constexpr char kInKernel = 'D';  // uninterruptible
inline constexpr char kSleeping = 'S';
inline constexpr char kUnknown = '?';

// What a thread of this process does at the moment; kUnknown when it cannot be told. Any thread.
char ThreadState(pid_t thread);

}  // namespace orvan::machine
