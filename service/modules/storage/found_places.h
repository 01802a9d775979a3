#pragma once

#include <cstdint>
#include <map>

#include "service/sdk/context.h"

namespace orvan::storage {

// What was found at single places of a surface, however much it is: as many places as a series
// has room for. When there are more, those in the same part of the surface become one, and parts
// get twice as large until there is room.
class FoundPlaces {
 public:
  enum class Kind {
    kSectors,  // a value is a count of sectors; those that touch are one place
    kTimes,    // a value is a time in seconds; of several the longest counts
  };
  explicit FoundPlaces(Kind kind) : kind_(kind) {}

  // `end`: behind the last sector of the place.
  void Add(std::uint64_t lba, std::uint64_t end, double value);
  // Of so many sectors; each is added once.
  void AddSectors(std::uint64_t lba, std::uint64_t count) {
    Add(lba, lba + count, static_cast<double>(count));
  }

  bool IsEmpty() const { return places_.empty(); }
  // Measures them as a series of that name, and logs when places had to become one. Of no place
  // there is no series.
  void Measure(sdk::TestContext& context, const char* name) const;

 private:
  struct Place {
    std::uint64_t end = 0;
    double value = 0;
  };
  using Places = std::map<std::uint64_t, Place>;  // by first sector

  void Join(Place& place, const Place& other) const;
  bool AreOne(Places::iterator one, Places::iterator next) const;
  // Takes the next place into this one.
  void TakeNext(Places::iterator one);
  void Coarsen();

  Kind kind_;
  Places places_;
  std::uint64_t partSectors_ = 1;
};

}  // namespace orvan::storage
