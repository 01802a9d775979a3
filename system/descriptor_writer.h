#pragma once

#include <cstddef>

namespace tarvex {

// Writes all bytes to the descriptor, through interruptions and partial writes, and waiting where
// the descriptor is non-blocking and full. 0, or the errno value of the first failure, after which
// some of the bytes may be written. Any thread.
int WriteAll(int descriptor, const void* bytes, std::size_t size);

}  // namespace tarvex
