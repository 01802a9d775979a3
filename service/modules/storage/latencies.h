#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "service/sdk/measurement.h"

// What is made of the times of many answers.
namespace orvan::storage {

using Latencies = std::vector<std::chrono::nanoseconds>;

// The least of these times that at least so many thousandths of them do not exceed (the nearest
// rank: nothing is interpolated, so it is a time that was measured). `sorted` is not empty, and
// `perMille` from 1 to 1000.
std::chrono::nanoseconds PercentileOf(const Latencies& sorted, std::uint32_t perMille);

// How many times lay up to each bound, and above the one before. The bounds are ten to a decade,
// from 10 microseconds to 1000 seconds, as far as there are times between them; the last one is the
// slowest time when that is greater than all bounds. One thread.
class LatencyHistogram {
 public:
  void Add(std::chrono::nanoseconds latency);
  sdk::MeasurementSeries Series(const char* name) const;

 private:
  static constexpr std::size_t kBounds = 81;
  std::array<std::uint64_t, kBounds + 1> counts_{};
  double slowest_ = 0;  // seconds
};

}  // namespace orvan::storage
