#pragma once

#include <cstddef>
#include <functional>

namespace tarvex {

// How many milliseconds a writer waits for a reader that takes nothing; negative for ever. While it
// waits it asks again several times a second, so the answer may change.
using WritePatience = std::function<int()>;

// Writes all bytes to the descriptor, through interruptions and partial writes, and waiting where
// the descriptor is full. 0, or the errno value of the first failure, after which some of the bytes
// may be written. Any thread.
//
// With a patience it gives up with ETIMEDOUT when that is at an end, whether the descriptor is
// blocking or not: a pipe or a socket always, a terminal that is stopped. It counts from the last
// bytes that were taken. Time in which this process is stopped doesn't count.
int WriteAll(int descriptor, const void* bytes, std::size_t size,
             const WritePatience& patience = nullptr);

}  // namespace tarvex
