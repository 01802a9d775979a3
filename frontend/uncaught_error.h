#pragma once

namespace tarvex {

// From here on an exception that nothing catches, on whatever thread, ends the process with one
// line on standard error, and then as such an exception does, by the signal of an abort: never with
// an exit status. Main thread, before others start.
void TellOfUncaughtErrors();

}  // namespace tarvex
