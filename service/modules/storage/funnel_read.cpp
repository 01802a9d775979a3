#include "service/modules/storage/read_tests.h"

namespace orvan::storage {

const ReadStyle& FunnelRead() {
  static const ReadStyle style{
      // One at a time, so that neither the kernel nor the drive puts the jumps into another order.
      .mostInFlight = 1,
      .queued = 1,
      .promisesAll = false,
      .order =
          [](std::uint64_t totalBlocks, const ReadParameters& parameters) {
            return FunnelOrder(totalBlocks, parameters.blocks);
          },
      .opening = nullptr};
  return style;
}

}  // namespace orvan::storage
