#pragma once

#include <cstddef>
#include <memory>
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

// The content of such memory where it is, without a copy of it. Null where ReadSealedMemory would
// be false.
std::shared_ptr<const std::span<const std::byte>> MapSealedMemory(const Descriptor& memory,
                                                                  std::size_t limit);

}  // namespace tarvex
