#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// A block at which the drive's own scan met an error.
// Source: SBC-4, 6.4, tables "Background Scan log parameter format" and "REASSIGN STATUS field".
struct ScannedBlock {
  std::uint64_t lba = 0;
  std::uint32_t powerOnMinutes = 0;
  std::uint8_t reassignStatus = 0;
  std::uint8_t senseKey = 0;
  std::uint8_t senseCode = 0;
  std::uint8_t senseQualifier = 0;
};

// Source: SBC-4, 6.4, tables "Background Scan Status log parameter format" and "BACKGROUND SCAN
// STATUS field".
struct BackgroundScan {
  std::uint32_t powerOnMinutes = 0;
  std::uint8_t status = 0;
  std::uint16_t scans = 0;        // of any kind
  std::uint16_t mediumScans = 0;  // 0: not told
  std::uint16_t progress = 0;     // of 65536
  std::vector<ScannedBlock> blocks;
};

// Page 15h. Pure; any thread, as the next two.
Decoded<BackgroundScan> DecodeBackgroundScan(Bytes answer);

// "the scan of the medium has stopped: a fatal error".
std::string ScanStatusWords(std::uint8_t status);

// "rewritten in place".
std::string ReassignStatusWords(std::uint8_t status);

}  // namespace orvan::storage::scsi
