#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::nvme {

inline constexpr std::uint8_t kErrorLog = 0x01;
inline constexpr std::size_t kErrorEntryBytes = 64;

// Source: NVM Express Base 2.0, 5.16.1.2, table "Error Information Log Entry data structure".
struct ErrorEntry {
  std::uint64_t number = 0;              // counts up over the life of the controller, from 1
  std::optional<std::uint16_t> queue;    // none: no queue of the host's
  std::optional<std::uint16_t> command;  // its identifier
  std::uint16_t status = 0;              // without the phase bit, as StatusWords takes it
  std::uint64_t lba = 0;                 // of the first block that went wrong, where there is one
  std::uint32_t namespaceId = 0;         // FFFFFFFFh: none, or all
};

// The entries that are in use, the newest first; an answer of fewer entries than the controller has
// is none too short. Pure; any thread.
Decoded<std::vector<ErrorEntry>> DecodeErrorLog(Bytes answer);

}  // namespace orvan::storage::nvme
