#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/block_order.h"
#include "service/modules/storage/surface_read.h"
#include "service/sdk/measurement.h"

namespace orvan::storage {

// Reading in a row at places spread over a surface, and how fast that went at each. One thread.
class SpotRates {
 public:
  // At most so many places, all of them when the surface is large enough.
  static constexpr std::uint64_t kSpots = 32;
  enum Region { kOuter, kMiddle, kInner };

  // `blocksOfASpot` at each place, fewer where the surface is small.
  SpotRates(std::uint64_t totalBlocks, std::uint64_t blocksOfASpot);

  // The places in an order that goes over the whole surface again and again, each one finer, so
  // that a speed that changes with time falls on all regions alike, and a run that is cut short has
  // seen all of them.
  BlockOrder Order() const;
  // The answers of a run in that order. `firstLba` is that of the first block.
  void Add(const BlockAnswer& answer, std::uint64_t firstLba, std::uint32_t sectorsPerBlock);
  // Of each place the better rate of the two.
  void TakeBetter(const SpotRates& other);

  // The median rate, in B/s, of an eighth of the places at the begin, in the middle or at the end
  // of the surface; none where too little was read.
  std::optional<double> RateOf(Region region) const;
  // The rate at the fastest place; 0: none has one.
  double Fastest() const;
  sdk::MeasurementSeries Series(const char* name) const;

 private:
  struct Spot {
    double lba = 0;
    std::uint64_t bytes = 0;
    std::uint64_t firstBytes = 0;  // of what came first, before which the disk had to go there
    std::chrono::nanoseconds first{-1};
    std::chrono::nanoseconds last{};
    double better = 0;  // of another run

    double Rate() const;  // 0: not known
  };
  std::uint64_t FirstBlockOf(std::uint64_t spot) const;

  std::uint64_t totalBlocks_;
  std::uint64_t blocksOfASpot_;
  std::vector<Spot> spots_;
};

}  // namespace orvan::storage
