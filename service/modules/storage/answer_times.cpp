#include "service/modules/storage/answer_times.h"

#include <algorithm>
#include <iterator>

namespace orvan::storage {

OwnTimes::Duration OwnTimes::OnAnswer(std::uint64_t id, Duration begun, Duration ended,
                                      std::uint64_t oldest) {
  const auto above = ended_.lower_bound(id);
  const Duration before = above == ended_.begin() ? Duration{} : std::prev(above)->second;
  ended_.erase(above, ended_.end());
  ended_[id] = ended;
  const auto needed = ended_.lower_bound(oldest);
  if (needed != ended_.begin()) ended_.erase(ended_.begin(), std::prev(needed));
  return std::max(ended - std::max(begun, before), Duration{});
}

}  // namespace orvan::storage
