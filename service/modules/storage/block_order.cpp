#include "service/modules/storage/block_order.h"

#include <algorithm>
#include <array>
#include <bit>

namespace orvan::storage {
namespace {

// Source: Sebastiano Vigna, splitmix64, public domain.
std::uint64_t Mix(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15ULL;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31);
}

// A permutation of the numbers below `size`: a balanced Feistel network over the next even power of
// two, walked until it lands below `size`. Needs no memory, whatever the size of the disk.
class Permutation {
 public:
  Permutation(std::uint64_t size, std::uint64_t seed) : size_(size) {
    const int bits = std::max(2, static_cast<int>(std::bit_width(size - 1)));
    halfBits_ = (bits + 1) / 2;
    mask_ = (std::uint64_t{1} << halfBits_) - 1;
    for (std::uint64_t& key : keys_) key = seed = Mix(seed);
  }

  std::uint64_t operator()(std::uint64_t index) const {
    do {
      index = Once(index);
    } while (index >= size_);
    return index;
  }

 private:
  std::uint64_t Once(std::uint64_t value) const {
    std::uint64_t left = value >> halfBits_;
    std::uint64_t right = value & mask_;
    for (const std::uint64_t key : keys_) {
      const std::uint64_t next = left ^ (Mix(right ^ key) & mask_);
      left = right;
      right = next;
    }
    return (left << halfBits_) | right;
  }

  std::uint64_t size_;
  int halfBits_ = 1;
  std::uint64_t mask_ = 1;
  std::array<std::uint64_t, 4> keys_{};
};

}  // namespace

BlockOrder LinearOrder(std::uint64_t totalBlocks) {
  return {totalBlocks, [](std::uint64_t index) { return index; }};
}

BlockOrder FunnelOrder(std::uint64_t totalBlocks, std::uint64_t count) {
  count = std::min(count, totalBlocks);
  if (count < 2) return {count, [](std::uint64_t) { return std::uint64_t{0}; }};
  // Place j of the spread is j * (totalBlocks - 1) / (count - 1), taken apart against overflow.
  const std::uint64_t quotient = (totalBlocks - 1) / (count - 1);
  const std::uint64_t remainder = (totalBlocks - 1) % (count - 1);
  return {count, [=](std::uint64_t index) {
            const std::uint64_t place = index % 2 == 0 ? index / 2 : count - 1 - index / 2;
            return place * quotient + place * remainder / (count - 1);
          }};
}

BlockOrder RandomOrder(std::uint64_t totalBlocks, std::uint64_t count, std::uint64_t seed) {
  count = std::min(count, totalBlocks);
  if (totalBlocks == 0) return {};
  return {count, Permutation(totalBlocks, seed)};
}

}  // namespace orvan::storage
