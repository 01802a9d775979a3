#pragma once

#include <cstdint>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// Source: SBC-4, 5.20.2, table "READ CAPACITY (16) parameter data".
struct Capacity {
  std::uint64_t blocks = 0;      // logical ones
  std::uint32_t blockBytes = 0;  // without bytes that protect them
  std::uint64_t physicalBlockBytes = 0;
  std::uint16_t firstAlignedLba = 0;
  std::uint8_t protectionType = 0;  // 1 to 3; 0: none
  bool isThin = false;              // blocks may have no place on the medium
};

// The data of READ CAPACITY(16). Pure; any thread.
Decoded<Capacity> DecodeCapacity(Bytes answer);

}  // namespace orvan::storage::scsi
