#include "service/modules/storage/latencies.h"

#include <algorithm>
#include <cmath>

namespace orvan::storage {
namespace {

constexpr double kStepsOfADecade = 10;
constexpr double kFirstBound = 1e-5;  // seconds

double BoundOf(std::size_t place) {
  return kFirstBound * std::pow(10.0, static_cast<double>(place) / kStepsOfADecade);
}

}  // namespace

std::chrono::nanoseconds PercentileOf(const Latencies& sorted, std::uint32_t perMille) {
  const std::size_t rank = (sorted.size() * perMille + 999) / 1000;
  return sorted[std::max<std::size_t>(rank, 1) - 1];
}

void LatencyHistogram::Add(std::chrono::nanoseconds latency) {
  const double seconds = std::chrono::duration<double>(latency).count();
  slowest_ = std::max(slowest_, seconds);
  std::size_t place = 0;
  while (place < kBounds && seconds > BoundOf(place)) ++place;
  ++counts_.at(place);
}

sdk::MeasurementSeries LatencyHistogram::Series(const char* name) const {
  sdk::MeasurementSeries series{name, sdk::MeasurementSeries::Kind::kHistogram, "", "time", "s",
                                {}};
  const auto isFilled = [](std::uint64_t count) { return count > 0; };
  const auto first = std::find_if(counts_.begin(), counts_.end(), isFilled);
  const auto end = std::find_if(counts_.rbegin(), counts_.rend(), isFilled).base();
  for (auto count = first; count < end; ++count) {
    const auto place = static_cast<std::size_t>(count - counts_.begin());
    series.points.push_back(
        {place < kBounds ? BoundOf(place) : slowest_, static_cast<double>(*count)});
  }
  return series;
}

}  // namespace orvan::storage
