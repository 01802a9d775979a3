#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"
#include "service/modules/storage/nvme/wide_count.h"

namespace orvan::storage::nvme {

inline constexpr std::uint8_t kHealthLog = 0x02;
inline constexpr std::size_t kHealthLogBytes = 512;

// Bits of HealthLog::criticalWarning.
// Source: NVM Express Base 2.0, 5.16.1.3, table "SMART / Health Information Log Page", byte 0.
inline constexpr std::uint8_t kSpareIsLow = 0x01;
inline constexpr std::uint8_t kTemperatureIsOutOfRange = 0x02;
inline constexpr std::uint8_t kReliabilityIsDegraded = 0x04;
inline constexpr std::uint8_t kMediaAreReadOnly = 0x08;
inline constexpr std::uint8_t kVolatileBackupFailed = 0x10;
inline constexpr std::uint8_t kPersistentMemoryFailed = 0x20;

// Source: NVM Express Base 2.0, 5.16.1.3, table "SMART / Health Information Log Page".
struct HealthLog {
  std::uint8_t criticalWarning = 0;
  std::optional<std::uint16_t> kelvin;  // of the whole controller; none: not told
  std::optional<std::uint8_t> sparePercent;
  std::optional<std::uint8_t> spareThresholdPercent;
  std::uint8_t usedPercent = 0;  // of its life; more than 100 when it outlives what was thought
  std::uint8_t enduranceGroupWarning = 0;
  WideCount dataUnitsRead;  // of 512,000 bytes each
  WideCount dataUnitsWritten;
  WideCount hostReads;  // commands
  WideCount hostWrites;
  WideCount busyMinutes;
  WideCount powerCycles;
  WideCount powerOnHours;
  WideCount unsafeShutdowns;
  WideCount mediaErrors;              // and data that was not what it should have been
  WideCount errorEntries;             // over the life of the controller
  std::uint32_t warningMinutes = 0;   // above the warning temperature
  std::uint32_t criticalMinutes = 0;  // above the critical one
  std::array<std::optional<std::uint16_t>, 8> sensorKelvin;  // none: there is no such sensor
  std::array<std::uint32_t, 2> throttleCounts{};             // for the host's temperatures 1 and 2
  std::array<std::uint32_t, 2> throttleSeconds{};

  // False of a controller that tells 0 of its spare and of its threshold: it does not count it.
  bool TellsSpare() const {
    return sparePercent && (*sparePercent != 0 || spareThresholdPercent.value_or(0) != 0);
  }
};

// Pure; any thread.
Decoded<HealthLog> DecodeHealthLog(Bytes answer);

// 323 Kelvin are 50 degrees Celsius.
constexpr int Celsius(std::uint16_t kelvin) {
  return kelvin - 273;
}

}  // namespace orvan::storage::nvme
