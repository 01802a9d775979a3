#include "service/modules/storage/scsi/capacity.h"

#include <limits>

namespace orvan::storage::scsi {

Decoded<Capacity> DecodeCapacity(Bytes answer) {
  constexpr std::size_t kLeastBytes = 16;
  if (answer.size() < kLeastBytes) {
    return Distrusted<Capacity>(ShortAnswer(answer.size(), kLeastBytes));
  }
  const auto lastLba = Big<std::uint64_t>(answer, 0);
  Capacity capacity;
  capacity.blockBytes = Big<std::uint32_t>(answer, 8);
  if (lastLba == std::numeric_limits<std::uint64_t>::max()) {
    return Distrusted<Capacity>("the capacity is no number of blocks");
  }
  if (capacity.blockBytes == 0) return Distrusted<Capacity>("a block has 0 bytes");
  capacity.blocks = lastLba + 1;
  // A drive has 2 to the power of this field logical blocks in a physical one.
  capacity.physicalBlockBytes = std::uint64_t{capacity.blockBytes} << (answer[13] & 0x0F);
  capacity.firstAlignedLba = Big<std::uint16_t>(answer, 14) & 0x3FFF;
  capacity.isThin = (answer[14] & 0x80) != 0;
  const bool isProtected = (answer[12] & 1) != 0;
  const unsigned type = (answer[12] >> 1 & 7U) + 1;
  if (isProtected && type > 3) {
    return {capacity, "the type of protection is " + std::to_string(type) + ", 3 is the highest"};
  }
  if (isProtected) capacity.protectionType = static_cast<std::uint8_t>(type);
  return {capacity, ""};
}

}  // namespace orvan::storage::scsi
