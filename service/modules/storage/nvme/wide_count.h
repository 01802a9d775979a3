#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "service/modules/storage/bytes.h"

namespace orvan::storage::nvme {

// A counter of 128 bits.
struct WideCount {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  // The number, or the largest of 64 bits when it is larger.
  std::uint64_t Clamped() const;
  // In decimal digits, all of them.
  std::string Text() const;
  friend auto operator<=>(const WideCount&, const WideCount&) = default;
};

// The 16 bytes from `at` on, the least significant first; 0 when they are not all there.
WideCount WideAt(Bytes bytes, std::size_t at);

}  // namespace orvan::storage::nvme
