#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/disk.h"

namespace orvan::storage {

// How fast a disk was, in B/s, and the median time of a random read.
struct SpeedFacts {
  std::optional<double> outer;
  std::optional<double> middle;
  std::optional<double> inner;
  double fastest = 0;
  std::chrono::nanoseconds medianRandom{};
};

// What is wrong with how fast a disk was, as a message key; empty: nothing. `leastMibs`: the least
// rate of a region in MiB/s; 0: any.
std::string SpeedTrouble(const DiskFacts& disk, const SpeedFacts& speed, std::uint64_t leastMibs);

}  // namespace orvan::storage
