#pragma once

#include "os/terminal_wait.h"

class HostConsole;

// A tool's use of the keyboard. Main thread.
class ToolKeyboard {
 public:
  // `terminal` tells when a key is there to be read.
  explicit ToolKeyboard(tarvex::TerminalWait terminal = {});
  ~ToolKeyboard();
  ToolKeyboard(const ToolKeyboard&) = delete;
  ToolKeyboard& operator=(const ToolKeyboard&) = delete;

  // Keys are kept for ReadKey from now on, and not shown.
  void Take();
  // The code of the next key press, or kNoKey; does not wait.
  int ReadKey();
  // The code of the next key press. Sleeps until there is one, or none can come any more, which is
  // kNoKey: without a terminal, and when it is hung up; SIGHUP is passed over from then on.
  int AwaitKey();

 private:
  HostConsole* console_;  // null where the host has none
  tarvex::TerminalWait terminal_;
};
