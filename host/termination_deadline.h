#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "host/layer_thread.h"
#include "os/descriptor.h"

namespace tarvex {

// The end of a process that was asked to end and does not, whatever it hangs in. A thread of its
// own waits, since the one that passes requests on may be what hangs.
class TerminationDeadline {
 public:
  // `patience`: how long the program has, from the first request on. Time in which the process is
  // stopped, or the machine sleeps, counts for no more than a tenth of it.
  explicit TerminationDeadline(std::chrono::milliseconds patience);

  // Starts the thread unless it runs; false when the system has none left. One caller at a time.
  bool Start();
  // The time begins. At its end the process ends by that signal, with the terminal put back. Later
  // calls change nothing. Any thread.
  void Begin(int signal);

 private:
  struct Shared;

  const std::shared_ptr<Shared> shared_;
  std::unique_ptr<LayerThread> thread_;
};

}  // namespace tarvex
