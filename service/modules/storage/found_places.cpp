#include "service/modules/storage/found_places.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace orvan::storage {

void FoundPlaces::Add(std::uint64_t lba, std::uint64_t end, double value) {
  auto at = places_.try_emplace(lba, Place{end, 0}).first;
  Join(at->second, {end, value});
  if (at != places_.begin() && AreOne(std::prev(at), at)) TakeNext(at = std::prev(at));
  if (std::next(at) != places_.end() && AreOne(at, std::next(at))) TakeNext(at);
  while (places_.size() > sdk::kMostSeriesPoints) Coarsen();
}

void FoundPlaces::Join(Place& place, const Place& other) const {
  place.end = std::max(place.end, other.end);
  place.value =
      kind_ == Kind::kSectors ? place.value + other.value : std::max(place.value, other.value);
}

bool FoundPlaces::AreOne(Places::iterator one, Places::iterator next) const {
  const bool isTouching = kind_ == Kind::kSectors && one->second.end >= next->first;
  return isTouching || one->first / partSectors_ == next->first / partSectors_;
}

void FoundPlaces::TakeNext(Places::iterator one) {
  const auto next = std::next(one);
  Join(one->second, next->second);
  places_.erase(next);
}

void FoundPlaces::Coarsen() {
  partSectors_ *= 2;
  for (auto at = places_.begin(); std::next(at) != places_.end();) {
    if (AreOne(at, std::next(at))) {
      TakeNext(at);
    } else {
      ++at;
    }
  }
}

void FoundPlaces::Measure(sdk::TestContext& context, const char* name) const {
  if (IsEmpty()) return;
  sdk::MeasurementSeries series{
      name, sdk::MeasurementSeries::Kind::kRanges, kind_ == Kind::kSectors ? "" : "s", "lba", "",
      {}};
  for (const auto& [lba, place] : places_) {
    series.points.push_back({static_cast<double>(lba), place.value});
  }
  context.MeasureSeries(series);
  if (partSectors_ == 1) return;
  context.Log(sdk::LogLevel::kInfo, series.name + ": a point stands for all places within " +
                                        std::to_string(partSectors_) +
                                        " sectors, for there are more than " +
                                        std::to_string(sdk::kMostSeriesPoints));
}

}  // namespace orvan::storage
