#include "service/modules/storage/read_tests.h"

namespace orvan::storage {

const ReadStyle& LinearRead() {
  static const ReadStyle style{
      .mostInFlight = 16,
      .queued = 48,
      .promisesAll = true,
      .order = [](std::uint64_t totalBlocks,
                  const ReadParameters&) { return LinearOrder(totalBlocks); },
      .opening = nullptr};
  return style;
}

}  // namespace orvan::storage
