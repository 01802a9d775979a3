#pragma once

// What HostConsole::ReadKey returns when no key is waiting.
inline constexpr int kNoKey = -1;
inline constexpr int kKeyEscape = 27;

// The keyboard. Main thread.
class HostConsole {
 public:
  virtual ~HostConsole() = default;
  // The code of the next key press, without waiting for one (an ESC byte alone costs the 50 ms that
  // tell it from the beginning of another key); kNoKey when none is waiting, also
  // while the process is in the terminal's background or has no terminal. A lone Escape is
  // kKeyEscape; keys that send escape sequences (arrows, function keys) are not Escape.
  virtual int ReadKey() = 0;
  // Keys that are pressed from now on wait for ReadKey and are not shown, as from the first ReadKey
  // on. For who draws before it looks for keys. Nothing in the terminal's background and without a
  // terminal.
  virtual void TakeKeyboard() = 0;
};
