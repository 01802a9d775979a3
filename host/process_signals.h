#pragma once

#include <signal.h>

#include <array>
#include <cstdint>

namespace tarvex {

// The signals by which others ask the process to end.
inline constexpr std::array<int, 3> kTerminationSignals{SIGINT, SIGTERM, SIGHUP};

// Takes charge of the termination signals: until ForwardTermination they still end the process,
// but the terminal is put back before. A signal that the process was started with ignored stays
// ignored, and one that another part of the program handles stays with it. Any thread.
void WatchTermination();

// The same, and the terminal is also put back for faults, for other signals that end the process,
// and while the process is stopped. Main thread.
void WatchProcessSignals();

// A descriptor that is readable while forwarded requests wait; -1 when the system has none left.
// Lives as long as the process. Any thread.
int TerminationDescriptor();

// From now on termination signals are counted for TakeTerminations instead of ending the process,
// or end it again. Without a TerminationDescriptor they always end it. Any thread.
void ForwardTermination(bool forward);

// How many requests came by that signal since the last call. Any thread.
std::uint32_t TakeTerminations(int signal);

// Ends the process by that signal, as if nobody had handled it, with the terminal put back. May
// be called in a signal handler. Returns, since another thread may be the one to take the signal.
void EndBySignal(int signal);

// The same for a request that came while somebody took requests, and that nobody takes any more;
// nothing when the signal is ignored by now. Any thread.
void EndByLateSignal(int signal);

}  // namespace tarvex
