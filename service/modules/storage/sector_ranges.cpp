#include "service/modules/storage/sector_ranges.h"

#include <algorithm>
#include <iterator>

namespace orvan::storage {

void SectorRanges::Add(std::uint64_t first, std::uint64_t count) {
  std::uint64_t end = first + count;
  auto touched = ranges_.upper_bound(first);
  if (touched != ranges_.begin()) {
    const auto before = std::prev(touched);
    if (before->first + before->second >= first) touched = before;
  }
  const bool joins = touched != ranges_.end() && touched->first <= end;
  if (!joins && ranges_.size() >= mostRanges_) {
    isComplete_ = false;
    return;
  }
  while (touched != ranges_.end() && touched->first <= end) {
    first = std::min(first, touched->first);
    end = std::max(end, touched->first + touched->second);
    touched = ranges_.erase(touched);
  }
  ranges_[first] = end - first;
}

std::string SectorRanges::Text(std::size_t most) const {
  std::string text;
  std::size_t shown = 0;
  for (const auto& [first, count] : ranges_) {
    if (shown == most) break;
    text += (shown++ == 0 ? "" : ", ") + std::to_string(first);
    if (count > 1) text += '-' + std::to_string(first + count - 1);
  }
  return shown < ranges_.size() || !isComplete_ ? text + ", ..." : text;
}

}  // namespace orvan::storage
