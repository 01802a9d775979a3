#include "service/modules/storage/bad_ranges.h"

#include <iterator>

namespace orvan::storage {

void BadRanges::Add(std::uint64_t lba, int error) {
  if (total_ == 0 || lba < firstLba_) {
    firstLba_ = lba;
    firstError_ = error;
  }
  ++total_;
  const auto after = ranges_.upper_bound(lba);
  const bool joinsAfter = after != ranges_.end() && after->first == lba + 1;
  const bool joinsBefore =
      after != ranges_.begin() && std::prev(after)->first + std::prev(after)->second == lba;
  if (joinsBefore) {
    const auto before = std::prev(after);
    before->second += 1 + (joinsAfter ? after->second : 0);
    if (joinsAfter) ranges_.erase(after);
  } else if (joinsAfter) {
    const std::uint64_t count = after->second + 1;
    ranges_.erase(after);
    ranges_[lba] = count;
  } else if (ranges_.size() < mostRanges_) {
    ranges_[lba] = 1;
  } else {
    isComplete_ = false;
  }
}

std::string BadRanges::Text(std::size_t most) const {
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
