#pragma once

#include <cstddef>

namespace tarvex {

// Results of InputPeek::Take that are no number of bytes.
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

  // Waits at most `timeoutMs` milliseconds (negative: for ever) for bytes and takes what is there,
  // up to `capacity`: how many. kNoByteWaiting when none came in time or Wake ended the wait;
  // kInputClosed when the other side is gone and nothing is left to take. One thread at a time.
  int Take(unsigned char* bytes, std::size_t capacity, int timeoutMs);
  // Takes nothing for that long, or until Wake. The thread of Take.
  void Rest(int milliseconds);
  // Ends the wait or rest that is under way, or the next one. Any thread.
  void Wake();

 private:
  int Wait(int descriptor, int timeoutMs);

  int descriptor_;  // -1 when it has no bytes for us
  int wake_;        // event counter; -1 when there is none
};

}  // namespace tarvex
