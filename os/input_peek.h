#pragma once

#include <sys/types.h>

#include <cstddef>

#include "os/descriptor.h"

namespace tarvex {

// Results of InputPeek::Take that are no number of bytes.
inline constexpr int kNoByteWaiting = -1;
inline constexpr int kInputClosed = -2;

// Takes bytes from a pipe or a socket as they come. An input of any other kind never has a byte.
// Bytes that another process takes from the same input are lost to us, and nothing else happens.
class InputPeek {
 public:
  // `descriptor` isn't owned, has to stay open as long as this lives, and isn't changed.
  explicit InputPeek(int descriptor);
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
  ssize_t Read(unsigned char* bytes, std::size_t capacity) const;

  Descriptor unblocked_;  // a pipe, opened once more; none when that was refused
  bool isSocket_ = false;
  int descriptor_ = -1;  // -1 when it has no bytes for us
  Descriptor wake_;      // event counter; none when it could not be made
};

}  // namespace tarvex
