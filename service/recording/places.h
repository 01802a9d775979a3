#pragma once

#include <cstddef>
#include <vector>

namespace orvan::recording {

// A part of a text.
struct Place {
  std::size_t at = 0;
  std::size_t size = 0;
  std::size_t End() const { return at + size; }
  bool operator==(const Place&) const = default;
};
// In their order; none lies over another.
using Places = std::vector<Place>;
// Sorted, and what lies over each other as one.
Places Joined(Places places);

}  // namespace orvan::recording
