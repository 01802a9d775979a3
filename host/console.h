#pragma once

#include "boundary/hostlayer_console.h"

namespace tarvex {

// One use of the keyboard of the controlling terminal. All uses share it, and what one reads
// another does not; the end of the process puts the terminal back. Where there is no terminal no
// key is ever waiting. Codes are those of KeyDecoder: a byte is a key, keys that send sequences
// are skipped. ReadKey waits for nothing but what may follow an ESC, and for that 50 ms at most.
class Console final : public HostConsole {
 public:
  // A new use. Any thread.
  Console();
  // Ends the use, by release_console_instance or by delete alike.
  ~Console() override;
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  int ReadKey() override;
  void TakeKeyboard() override;

  // Ends the use that the pointer names, unless it has ended. Any thread.
  static void Release(HostConsole* console);
};

}  // namespace tarvex
