#include "service/modules/storage/probe_turns.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <tuple>
#include <utility>

namespace orvan::storage {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A disk that does not answer a look by then is shown without what it would have told.
constexpr milliseconds kLongestLook{2000};
// What any disk is given for a look, however many there are.
constexpr milliseconds kShortestLook{500};
// Of all disks of a search; what is not told by then is left out.
constexpr milliseconds kBudget{5000};

struct Turns {
  PartitionSearch* search;
  steady_clock::duration took{};
  std::size_t count = 0;
};

// An equal part of what is left, as long as there are disks that had no turn yet.
milliseconds LimitOf(steady_clock::duration left, std::size_t waiting) {
  const auto share = std::chrono::duration_cast<milliseconds>(left) /
                     static_cast<milliseconds::rep>(std::max<std::size_t>(waiting, 1));
  return std::clamp(share, kShortestLook, kLongestLook);
}

}  // namespace

void ProbeInTurns(sdk::Machine& machine, const std::vector<PartitionSearch*>& searches,
                  std::stop_token stop) {
  std::vector<Turns> open;
  for (PartitionSearch* search : searches) {
    if (search->IsOpen()) open.push_back({search});
  }
  if (open.empty()) return;
  const auto probe = machine.MakeProbe(kBudget);
  steady_clock::duration left = kBudget;
  while (!open.empty()) {
    const auto next = std::min_element(open.begin(), open.end(), [](const auto& a, const auto& b) {
      return std::tie(a.took, a.count) < std::tie(b.took, b.count);
    });
    const auto waiting = std::count_if(open.begin(), open.end(),
                                       [](const Turns& turns) { return turns.count == 0; });
    const auto begin = machine.Now();
    next->search->Look(*probe, LimitOf(left, static_cast<std::size_t>(waiting)), stop);
    const auto took = machine.Now() - begin;
    left -= took;
    next->took += took;
    ++next->count;
    if (!next->search->IsOpen()) open.erase(next);
  }
}

}  // namespace orvan::storage
