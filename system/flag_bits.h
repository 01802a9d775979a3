#pragma once

#include <cstdint>

// How a word of flags is asked: any of the bits, and all of them.
constexpr bool Has(std::uint32_t word, std::uint32_t bits) {
  return (word & bits) != 0;
}
constexpr bool HasAll(std::uint32_t word, std::uint32_t bits) {
  return (word & bits) == bits;
}
