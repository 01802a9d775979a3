#include "service/modules/storage/self_test/self_test_history.h"

#include <algorithm>

namespace orvan::storage {
namespace {

// Whether `after` is `before` with so many newer tests in front.
bool IsShiftedBy(const TestHistory& before, const TestHistory& after, std::size_t count) {
  if (count > after.tests.size()) return false;
  const std::size_t kept = after.tests.size() - count;
  if (kept > before.tests.size()) return false;
  // A test is forgotten only where there is no place left, and some drives have fewer than the
  // standard says.
  const bool isFull =
      after.tests.size() >= after.places || after.tests.size() == before.tests.size();
  if (kept < before.tests.size() && !isFull) return false;
  return std::equal(after.tests.begin() + static_cast<std::ptrdiff_t>(count), after.tests.end(),
                    before.tests.begin());
}

std::size_t NewByOrder(const TestHistory& before, const TestHistory& after, bool wasSeen) {
  for (std::size_t count = 0; count <= after.tests.size(); ++count) {
    if (!IsShiftedBy(before, after, count)) continue;
    const bool isOneMore = count == 0 && wasSeen && IsShiftedBy(before, after, 1);
    return isOneMore ? 1 : count;
  }
  return 0;
}

// By the places in a ring.
std::size_t NewByPlace(const TestHistory& before, const TestHistory& after) {
  const std::size_t from = *before.newestPlace, to = *after.newestPlace;
  if (to == 0 || after.places == 0) return 0;
  if (from == 0) return to;
  const std::size_t count = (to + after.places - from) % after.places;
  if (count != 0 || before.tests.empty() || after.tests.empty()) return count;
  // A log of one place, or one that keeps a running test and writes its end over it.
  return before.tests.front() == after.tests.front() ? 0 : 1;
}

}  // namespace

const char* NameOf(SelfTestKind kind) {
  return kind == SelfTestKind::kShort ? "short" : "extended";
}

std::optional<RememberedTest> TestStartedBetween(const TestHistory& before,
                                                 const TestHistory& after, SelfTestKind kind,
                                                 bool wasSeen) {
  const bool isRing = before.newestPlace && after.newestPlace;
  const std::size_t count = std::min(
      isRing ? NewByPlace(before, after) : NewByOrder(before, after, wasSeen), after.tests.size());
  for (std::size_t i = count; i > 0; --i) {
    if (after.tests[i - 1].kind == kind) return after.tests[i - 1];
  }
  return {};
}

}  // namespace orvan::storage
