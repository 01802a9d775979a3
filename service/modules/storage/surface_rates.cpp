#include "service/modules/storage/surface_rates.h"

#include <algorithm>

namespace orvan::storage {

void SurfaceRates::Add(const BlockAnswer& answer) {
  if (from_.count() < 0) from_ = answer.ended - answer.took;
  lowestLba_ = blocks_ == 0 ? answer.lba : std::min(lowestLba_, answer.lba);
  bytes_ += answer.outcome == sdk::ReadOutcome::kRead ? answer.bytes : 0;
  ++blocks_;
  // What came at one moment with the last point has no time of its own, and is part of the next.
  if (blocks_ < blocksOfAPoint_ || answer.ended <= from_) return;
  const double seconds = std::chrono::duration<double>(answer.ended - from_).count();
  points_.push_back({static_cast<double>(lowestLba_), static_cast<double>(bytes_) / seconds});
  from_ = answer.ended;
  blocks_ = 0;
  bytes_ = 0;
}

sdk::MeasurementSeries SurfaceRates::Series(const char* name) const {
  sdk::MeasurementSeries series{name,   sdk::MeasurementSeries::Kind::kCurve, "B/s", "lba", "",
                                points_};
  // Of few blocks neighbours may come in the other order.
  std::sort(series.points.begin(), series.points.end(),
            [](const auto& a, const auto& b) { return a.position < b.position; });
  return series;
}

}  // namespace orvan::storage
