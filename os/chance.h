#pragma once

#include <cstddef>
#include <span>

namespace tarvex {

// Fills the bytes, 256 at most, with what nobody can foresee. Waits only early at boot, before the
// kernel has any. Any thread.
void FillByChance(std::span<std::byte> bytes);

}  // namespace tarvex
