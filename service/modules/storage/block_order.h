#pragma once

#include <cstdint>
#include <functional>

namespace orvan::storage {

// The order in which the blocks of a range are read: `at(i)` for i from 0 to count - 1 gives
// different block numbers below the number of blocks of the range.
struct BlockOrder {
  std::uint64_t count = 0;
  std::function<std::uint64_t(std::uint64_t)> at;
};

// Every block from first to last.
BlockOrder LinearOrder(std::uint64_t totalBlocks);
// `count` blocks (all when there are fewer) spread evenly from the first to the last, read from
// both edges in turn toward the middle: 0, last, ...
BlockOrder FunnelOrder(std::uint64_t totalBlocks, std::uint64_t count);
// `count` blocks (all when there are fewer) in an order that follows from `seed` alone. No block
// comes twice, and every block of the range may come.
BlockOrder RandomOrder(std::uint64_t totalBlocks, std::uint64_t count, std::uint64_t seed);

}  // namespace orvan::storage
