#pragma once

#include <array>
#include <cstdint>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// Which logs a drive has. Source: ACS-4, 9 (log definitions), table of log addresses.
constexpr std::uint8_t kSummaryErrorLog = 0x01;
constexpr std::uint8_t kExtendedErrorLog = 0x03;
constexpr std::uint8_t kDeviceStatistics = 0x04;
constexpr std::uint8_t kSelfTestLog = 0x06;
constexpr std::uint8_t kExtendedSelfTestLog = 0x07;

// Source: ACS-4, 9, general purpose log directory (log address 00h).
struct LogDirectory {
  std::array<std::uint16_t, 256> pages = {};  // of each log, by its address; 0: no such log
};

Decoded<LogDirectory> DecodeLogDirectory(Bytes bytes);

}  // namespace orvan::storage::ata
