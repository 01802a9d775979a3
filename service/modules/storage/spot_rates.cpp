#include "service/modules/storage/spot_rates.h"

#include <algorithm>
#include <bit>

namespace orvan::storage {
namespace {

// Numbers below `count`, so that each beginning of the list is spread over all of them: by their
// bits from the lowest to the highest.
std::vector<std::uint64_t> SpreadOrder(std::uint64_t count) {
  const auto bits = static_cast<int>(std::bit_width(std::max<std::uint64_t>(count, 1) - 1));
  std::vector<std::uint64_t> order;
  for (std::uint64_t i = 0; i < std::uint64_t{1} << bits; ++i) {
    std::uint64_t turned = 0;
    for (int bit = 0; bit < bits; ++bit) turned |= (i >> bit & 1) << (bits - 1 - bit);
    if (turned < count) order.push_back(turned);
  }
  return order;
}

}  // namespace

double SpotRates::Spot::Rate() const {
  if (last <= first || bytes <= firstBytes) return better;
  const double seconds = std::chrono::duration<double>(last - first).count();
  return std::max(better, static_cast<double>(bytes - firstBytes) / seconds);
}

SpotRates::SpotRates(std::uint64_t totalBlocks, std::uint64_t blocksOfASpot)
    : totalBlocks_(totalBlocks),
      blocksOfASpot_(std::clamp<std::uint64_t>(totalBlocks / kSpots, 1, blocksOfASpot)),
      spots_(std::min(totalBlocks / blocksOfASpot_, kSpots)) {}

// From the first block of the surface to its last one.
std::uint64_t SpotRates::FirstBlockOf(std::uint64_t spot) const {
  if (spots_.size() < 2) return 0;
  const std::uint64_t last = totalBlocks_ - blocksOfASpot_;
  const std::uint64_t steps = spots_.size() - 1;
  return spot * (last / steps) + spot * (last % steps) / steps;
}

BlockOrder SpotRates::Order() const {
  std::vector<std::uint64_t> begins;
  for (const std::uint64_t spot : SpreadOrder(spots_.size())) begins.push_back(FirstBlockOf(spot));
  return {begins.size() * blocksOfASpot_, [begins, blocks = blocksOfASpot_](std::uint64_t index) {
            return begins[index / blocks] + index % blocks;
          }};
}

void SpotRates::Add(const BlockAnswer& answer, std::uint64_t firstLba,
                    std::uint32_t sectorsPerBlock) {
  if (answer.outcome != sdk::ReadOutcome::kRead) return;
  const std::uint64_t block = (answer.lba - firstLba) / sectorsPerBlock;
  std::uint64_t place = spots_.size() - 1;
  while (FirstBlockOf(place) > block) --place;
  Spot& spot = spots_[place];
  spot.bytes += answer.bytes;
  spot.lba = static_cast<double>(firstLba + FirstBlockOf(place) * sectorsPerBlock);
  spot.last = std::max(spot.last, answer.ended);
  if (spot.first.count() >= 0 && answer.ended >= spot.first) return;
  spot.first = answer.ended;
  spot.firstBytes = answer.bytes;
}

void SpotRates::TakeBetter(const SpotRates& other) {
  for (std::size_t i = 0; i < std::min(spots_.size(), other.spots_.size()); ++i) {
    spots_[i].better = std::max(spots_[i].better, other.spots_[i].Rate());
  }
}

std::optional<double> SpotRates::RateOf(Region region) const {
  const std::size_t count = spots_.size() / 8;
  const std::array<std::size_t, 3> begins{0, (spots_.size() - count) / 2, spots_.size() - count};
  std::vector<double> rates;
  for (std::size_t i = 0; i < count; ++i) {
    const double rate = spots_[begins.at(region) + i].Rate();
    if (rate > 0) rates.push_back(rate);
  }
  if (rates.empty() || rates.size() * 2 < count) return {};
  std::sort(rates.begin(), rates.end());
  return rates[rates.size() / 2];
}

double SpotRates::Fastest() const {
  double fastest = 0;
  for (const Spot& spot : spots_) fastest = std::max(fastest, spot.Rate());
  return fastest;
}

sdk::MeasurementSeries SpotRates::Series(const char* name) const {
  sdk::MeasurementSeries series{name, sdk::MeasurementSeries::Kind::kCurve, "B/s", "lba", "", {}};
  for (const Spot& spot : spots_) {
    if (spot.Rate() > 0) series.points.push_back({spot.lba, spot.Rate()});
  }
  return series;
}

}  // namespace orvan::storage
