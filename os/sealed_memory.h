#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "os/descriptor.h"

namespace tarvex {

// Memory behind a descriptor that nobody can change any more, so that what one process has checked
// in it stays as it is whatever another one does.

// Makes one with this content. 0, or an errno.
int MakeSealedMemory(std::span<const std::byte> content, Descriptor& memory);

// Reads all of it. False when it is not sealed against every change, is larger than `limit`, or
// cannot be read.
bool ReadSealedMemory(const Descriptor& memory, std::size_t limit, std::vector<std::byte>& content);

}  // namespace tarvex
