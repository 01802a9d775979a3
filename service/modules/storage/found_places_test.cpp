#include "service/modules/storage/found_places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "service/sdk/module_test_support.h"

namespace orvan::storage {
namespace {

using Kind = FoundPlaces::Kind;
using Points = std::vector<std::pair<double, double>>;

struct Measured {
  explicit Measured(const FoundPlaces& places) { places.Measure(context, "some-ranges"); }
  Points All() const {
    Points points;
    for (const auto& point : context.series.at(0).points) {
      points.emplace_back(point.position, point.value);
    }
    return points;
  }
  sdk::testing::RememberingContext context{nullptr};
};

TEST(FoundPlaces, SectorsThatTouchAreOnePlaceInWhateverOrderTheyAreFound) {
  FoundPlaces places(Kind::kSectors);
  for (const std::uint64_t lba : {302, 200, 300, 301, 400}) places.AddSectors(lba, 1);
  places.AddSectors(401, 8);
  const Measured measured(places);
  EXPECT_EQ(measured.All(), (Points{{200, 1}, {300, 3}, {400, 9}}));
  const sdk::MeasurementSeries& series = measured.context.series[0];
  EXPECT_EQ(series.name, "some-ranges");
  EXPECT_EQ(series.kind, sdk::MeasurementSeries::Kind::kRanges);
  EXPECT_EQ(series.unit + '|' + series.axis + '|' + series.axisUnit, "|lba|");
  EXPECT_TRUE(measured.context.lines.empty());
}

TEST(FoundPlaces, TimesStayApartAndTheLongestOfAPlaceCounts) {
  FoundPlaces places(Kind::kTimes);
  places.Add(8, 16, 3.5);
  places.Add(16, 24, 4);
  places.Add(8, 9, 5);
  places.Add(8, 16, 4.5);
  const Measured measured(places);
  EXPECT_EQ(measured.All(), (Points{{8, 5}, {16, 4}}));
  EXPECT_EQ(measured.context.series[0].unit, "s");
}

TEST(FoundPlaces, OfNothingThereIsNoSeries) {
  const Measured measured(FoundPlaces(Kind::kSectors));
  EXPECT_TRUE(measured.context.series.empty());
}

// 256 places at every second sector have room; the 257th makes parts of two sectors, which takes
// nothing together, and then of four, of which each has two.
TEST(FoundPlaces, PlacesThatHaveNoRoomBecomeOneWithTheirNeighbours) {
  FoundPlaces places(Kind::kSectors);
  for (std::uint64_t i = 0; i < 256; ++i) places.AddSectors(2 * i, 1);
  EXPECT_EQ(Measured(places).All().size(), 256U);
  EXPECT_TRUE(Measured(places).context.lines.empty());
  places.AddSectors(512, 1);
  const Measured measured(places);
  EXPECT_EQ(measured.All().size(), 129U);
  EXPECT_EQ(measured.All().front(), (Points::value_type{0, 2}));
  EXPECT_EQ(measured.All().back(), (Points::value_type{512, 1}));
  EXPECT_EQ(measured.context.lines,
            (std::vector<std::string>{"some-ranges: a point stands for all places within 4 "
                                      "sectors, for there are more than 256"}));
}

TEST(FoundPlaces, WhatIsFarFromTheOthersStaysExact) {
  FoundPlaces places(Kind::kTimes);
  places.Add(1000000001, 1000000002, 7);
  for (std::uint64_t i = 0; i < 100000; ++i) places.Add(3 * i, 3 * i + 1, i == 77777 ? 9 : 1);
  places.Add(9007199254740991, 9007199254740992, 8);
  const Points points = Measured(places).All();
  EXPECT_LE(points.size(), 256U);
  EXPECT_GT(points.size(), 128U);
  EXPECT_EQ(points[points.size() - 2], (Points::value_type{1000000001, 7}));
  EXPECT_EQ(points.back(), (Points::value_type{9007199254740991, 8}));
  double most = 0;
  for (std::size_t i = 0; i + 2 < points.size(); ++i) most = std::max(most, points[i].second);
  EXPECT_EQ(most, 9);
}

TEST(FoundPlaces, NoSectorIsLostHoweverManyThereAre) {
  FoundPlaces places(Kind::kSectors);
  for (std::uint64_t i = 0; i < 65536; ++i) places.AddSectors(i * 7919 % 65536 * 16, 1);
  double count = 0;
  const Points points = Measured(places).All();
  EXPECT_LE(points.size(), 256U);
  for (const auto& [lba, value] : points) count += value;
  EXPECT_EQ(count, 65536);
}

}  // namespace
}  // namespace orvan::storage
