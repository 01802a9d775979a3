#include "os/chance.h"

#include <sys/random.h>

namespace tarvex {

void FillByChance(std::span<std::byte> bytes) {
  // Of so few bytes the kernel gives all or none.
  // Source: getrandom(2).
  while (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) continue;
}

}  // namespace tarvex
