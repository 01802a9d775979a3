#pragma once

#include <chrono>
#include <cstddef>

namespace tarvex {

// The controlling terminal as a source of single key presses, and the way back from that. There
// is one per process. While the process is in the terminal's background the terminal is neither
// read nor set.
//
// Reading puts the terminal into a state without line editing, echo, flow control and carriage
// return translation (Control-C and its kin still send signals). From then on the terminal is put
// back on every end of the process that a handler can see, and while it is stopped.

// Puts the terminal into that state, from which reading takes it anyway: for who draws before it
// reads. False where the terminal is not ours to read. Opens it on first use. Main thread.
bool PrepareTerminal();

// Reads up to `size` bytes and returns their number, 0 when none came within `patience`. Opens the
// terminal on first use. Main thread.
std::size_t ReadTerminal(unsigned char* bytes, std::size_t size,
                         std::chrono::milliseconds patience);

// Puts the terminal back as it was. Keeps errno. Any thread; may be called in a signal handler.
void RestoreTerminal();

// Brackets the time in which the process is about to stop: the terminal is put back, and reading
// leaves it alone until the end. May be called in a signal handler.
void SuspendTerminal();
void ResumeTerminal();

// The process goes on after a stop that nobody told it of: its terminal may have been set by
// others meanwhile. May be called in a signal handler.
void DoubtTerminal();

}  // namespace tarvex
