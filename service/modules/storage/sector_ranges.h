#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace orvan::storage {

// Sectors as merged ranges; ranges that overlap or touch become one. Stops growing at `mostRanges`.
class SectorRanges {
 public:
  static constexpr std::size_t kMostRanges = 4096;
  explicit SectorRanges(std::size_t mostRanges = kMostRanges) : mostRanges_(mostRanges) {}

  void Add(std::uint64_t first, std::uint64_t count = 1);

  // False when sectors were added that the list does not hold.
  bool IsComplete() const { return isComplete_; }
  // First sector to count, in order.
  const std::map<std::uint64_t, std::uint64_t>& Ranges() const { return ranges_; }
  // "2048-2050, 4096", at most `most` ranges, then ", ..." when there are more.
  std::string Text(std::size_t most) const;

 private:
  std::size_t mostRanges_;
  std::map<std::uint64_t, std::uint64_t> ranges_;
  bool isComplete_ = true;
};

}  // namespace orvan::storage
