#pragma once

#include <chrono>

#include "os/descriptor.h"

namespace tarvex {

// Sleeps until the controlling terminal has input, which it leaves there. For a loop that looks for
// a key and waits when there is none. Main thread.
class TerminalWait {
 public:
  TerminalWait();
  // Waits for this descriptor instead.
  explicit TerminalWait(Descriptor terminal);

  // Returns when there is input, after `longest` at the latest. Input that the caller has had two
  // chances to take and left (it stands in the terminal's background, or the terminal is gone)
  // wakes nobody: then, and without a terminal, `longest` passes.
  void Await(std::chrono::milliseconds longest);
  // False when no input can come any more: there is no terminal, or it was hung up.
  bool IsThere() const;
  // For who saw that no input can come and ends because of it: the signal of the hang-up, which the
  // system sends only after it has woken who reads, does not end the process any more.
  static void PassOverHangUp();

 private:
  bool HasInput(std::chrono::milliseconds longest) const;

  Descriptor terminal_;
  bool left_ = false;  // the latest call found input at once
};

}  // namespace tarvex
