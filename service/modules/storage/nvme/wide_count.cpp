#include "service/modules/storage/nvme/wide_count.h"

#include <algorithm>
#include <limits>

namespace orvan::storage::nvme {

std::uint64_t WideCount::Clamped() const {
  return high == 0 ? low : std::numeric_limits<std::uint64_t>::max();
}

std::string WideCount::Text() const {
  // Long division by ten, 32 bits at a time.
  std::uint32_t parts[] = {static_cast<std::uint32_t>(high >> 32), static_cast<std::uint32_t>(high),
                           static_cast<std::uint32_t>(low >> 32), static_cast<std::uint32_t>(low)};
  std::string digits;
  bool isZero = false;
  while (!isZero) {
    std::uint64_t rest = 0;
    isZero = true;
    for (std::uint32_t& part : parts) {
      const std::uint64_t whole = rest << 32 | part;
      part = static_cast<std::uint32_t>(whole / 10);
      rest = whole % 10;
      isZero = isZero && part == 0;
    }
    digits += static_cast<char>('0' + rest);
  }
  std::reverse(digits.begin(), digits.end());
  return digits;
}

WideCount WideAt(Bytes bytes, std::size_t at) {
  if (!Holds(bytes, at, 16)) return {};
  return {Little<std::uint64_t>(bytes, at + 8), Little<std::uint64_t>(bytes, at)};
}

}  // namespace orvan::storage::nvme
