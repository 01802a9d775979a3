#include "service/recording/places.h"

#include <algorithm>

namespace orvan::recording {

Places Joined(Places places) {
  std::sort(places.begin(), places.end(),
            [](const Place& a, const Place& b) { return a.at < b.at; });
  Places joined;
  for (const Place& place : places) {
    if (place.size == 0) continue;
    if (joined.empty() || joined.back().End() <= place.at) {
      joined.push_back(place);
    } else {
      joined.back().size = std::max(joined.back().End(), place.End()) - joined.back().at;
    }
  }
  return joined;
}

}  // namespace orvan::recording
