#pragma once

namespace tarvex {

// Results of InputPeek::PeekByte that are no byte.
inline constexpr int kNoByteWaiting = -1;
inline constexpr int kInputClosed = -2;

// Takes bytes from a pipe or a socket as they come. An input of any other kind never has a byte.
class InputPeek {
 public:
  // `descriptor` isn't owned.
  explicit InputPeek(int descriptor);
  ~InputPeek();
  InputPeek(const InputPeek&) = delete;
  InputPeek& operator=(const InputPeek&) = delete;

  // Waits at most `timeoutMs` milliseconds for a byte and takes it: 0 to 255. kNoByteWaiting when
  // none came in time or Wake ended the wait; kInputClosed when the other side is gone and nothing
  // is left to take. One thread at a time.
  int PeekByte(int timeoutMs);
  // Ends the wait that is under way, or the next one. Any thread.
  void Wake();

 private:
  int descriptor_;  // -1 when it has no bytes for us
  int wake_;        // event counter; -1 when there is none
};

}  // namespace tarvex
