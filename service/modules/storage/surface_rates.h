#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "service/modules/storage/surface_read.h"
#include "service/sdk/measurement.h"

namespace orvan::storage {

// The rate of a read that goes over a surface from its first block to its last, over the surface.
class SurfaceRates {
 public:
  explicit SurfaceRates(std::uint64_t blocks)
      : blocksOfAPoint_((blocks + sdk::kMostSeriesPoints - 1) / sdk::kMostSeriesPoints) {}

  // Answers in about the order of the surface.
  void Add(const BlockAnswer& answer);
  // At most 256 points, each with the lowest LBA of equally many blocks and their rate. A block
  // that failed took its time and brought nothing.
  sdk::MeasurementSeries Series(const char* name) const;

 private:
  std::uint64_t blocksOfAPoint_;
  std::uint64_t blocks_ = 0;  // of the point that is not complete, and so are the next ones
  std::uint64_t bytes_ = 0;
  std::uint64_t lowestLba_ = 0;
  std::chrono::nanoseconds from_{-1};
  std::vector<sdk::MeasurementSeries::Point> points_;
};

}  // namespace orvan::storage
