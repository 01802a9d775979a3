#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "service/modules/storage/found_places.h"
#include "service/modules/storage/sector_ranges.h"

namespace orvan::storage {

// The unreadable sectors of a run as merged ranges. The total, the lowest sector and its error are
// exact whatever happens; the list itself stops growing at `mostRanges`.
class BadRanges {
 public:
  static constexpr std::size_t kMostRanges = SectorRanges::kMostRanges;
  explicit BadRanges(std::size_t mostRanges = kMostRanges) : ranges_(mostRanges) {}

  // Each sector is added once. Ranges merge with neighbours of whatever error.
  void Add(std::uint64_t lba, int error) {
    if (total_ == 0 || lba < firstLba_) {
      firstLba_ = lba;
      firstError_ = error;
    }
    ++total_;
    ranges_.Add(lba);
    places_.AddSectors(lba, 1);
  }

  std::uint64_t Total() const { return total_; }
  bool IsEmpty() const { return total_ == 0; }
  std::uint64_t FirstLba() const { return firstLba_; }
  int FirstError() const { return firstError_; }
  // False when sectors were counted that the list does not hold.
  bool IsComplete() const { return ranges_.IsComplete(); }
  // First sector to count, in order.
  const std::map<std::uint64_t, std::uint64_t>& Ranges() const { return ranges_.Ranges(); }
  // "2048-2050, 4096", at most `most` ranges, then ", ..." when there are more.
  std::string Text(std::size_t most) const { return ranges_.Text(most); }
  // All of them, each range as exactly as there is room for.
  const FoundPlaces& Places() const { return places_; }

 private:
  SectorRanges ranges_;
  FoundPlaces places_{FoundPlaces::Kind::kSectors};
  std::uint64_t total_ = 0;
  std::uint64_t firstLba_ = 0;
  int firstError_ = 0;
};

}  // namespace orvan::storage
