#include "service/modules/storage/read_tests.h"

namespace orvan::storage {

const ReadStyle& LinearRead() {
  static const ReadStyle style{
      16, true,
      [](std::uint64_t totalBlocks, const ReadParameters&) { return LinearOrder(totalBlocks); },
      nullptr};
  return style;
}

}  // namespace orvan::storage
