#pragma once

#include <cstdint>
#include <optional>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// What a drive has counted of its writes, reads or verifies. None: the drive does not count it.
// Source: SPC-5, 7.3, table "Parameter codes for error counter log pages".
struct ErrorCounters {
  std::optional<std::uint64_t> correctedAtOnce;   // without substantial delay
  std::optional<std::uint64_t> correctedDelayed;  // with possible delay
  std::optional<std::uint64_t> repeated;          // rewrites, or rereads
  std::optional<std::uint64_t> corrected;         // in all
  std::optional<std::uint64_t> correctionRuns;    // times that the correction ran
  std::optional<std::uint64_t> bytesProcessed;
  std::optional<std::uint64_t> uncorrected;
};

// Page 02h, 03h or 05h, whichever `page` says. Pure; any thread, as the next.
Decoded<ErrorCounters> DecodeErrorCounters(Bytes answer, std::uint8_t page);

// The errors of page 06h, which were none of the medium.
// Source: SPC-5, 7.3, table "Non-Medium Error log page".
Decoded<std::uint64_t> DecodeNonMediumErrors(Bytes answer);

}  // namespace orvan::storage::scsi
