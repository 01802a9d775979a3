#pragma once

#include <chrono>
#include <memory>

#include "host/layer_thread.h"

namespace tarvex {

// The end of a process that was asked to end and does not, whatever it hangs in. A thread of its
// own waits, since the one that passes requests on may be what hangs. One thread at a time.
class TerminationDeadline {
 public:
  // `patience`: how long the program has, from the first request on. Time in which the process is
  // stopped, or the machine sleeps, counts for no more than a tenth of it.
  explicit TerminationDeadline(std::chrono::milliseconds patience) : patience_(patience) {}

  // The time begins. At its end the process ends by that signal, with the terminal put back. Later
  // calls change nothing. Where the system has no thread left nobody waits, and the next call tries
  // again.
  void Begin(int signal);

 private:
  const std::chrono::milliseconds patience_;
  std::unique_ptr<LayerThread> thread_;
};

}  // namespace tarvex
