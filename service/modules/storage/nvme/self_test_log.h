#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::nvme {

inline constexpr std::uint8_t kSelfTestLog = 0x06;
inline constexpr std::size_t kSelfTestLogBytes = 564;

// Codes of self-tests. Source: NVM Express Base 2.0, 5.9, table "Self-test Code".
inline constexpr std::uint8_t kShortTest = 0x1;
inline constexpr std::uint8_t kExtendedTest = 0x2;

// Source: NVM Express Base 2.0, 5.16.1.7, table "Self-test Result Data Structure", byte 0.
enum class SelfTestResult : std::uint8_t {
  kPassed = 0x0,
  kAbortedByCommand = 0x1,  // by DEVICE SELF-TEST
  kAbortedByReset = 0x2,
  kAbortedByRemoval = 0x3,  // of the namespace
  kAbortedByFormat = 0x4,
  kNotCompleted = 0x5,  // a fatal or unknown error kept it from going on
  kFailedSomewhere = 0x6,
  kFailedSegment = 0x7,  // `segment` says which
  kAbortedUnknown = 0x8,
  kAbortedBySanitize = 0x9,
};

// Source: the same table.
struct SelfTestEntry {
  std::uint8_t code = 0;
  SelfTestResult result = SelfTestResult::kPassed;  // Ah to Eh have no meaning
  std::optional<std::uint8_t> segment;              // that failed first
  std::uint64_t powerOnHours = 0;
  std::optional<std::uint32_t> namespaceId;
  std::optional<std::uint64_t> failingLba;
  std::optional<std::uint8_t> statusType;
  std::optional<std::uint8_t> statusCode;
};

// Source: NVM Express Base 2.0, 5.16.1.7, table "Device Self-test Log Page".
struct SelfTestLog {
  std::uint8_t runningCode = 0;             // of the test that runs; 0: none does
  std::optional<std::uint8_t> percentDone;  // of that test; none: none runs, or it is no percentage
  std::vector<SelfTestEntry> entries;       // the newest first, 20 at most
};

// Pure; any thread.
Decoded<SelfTestLog> DecodeSelfTestLog(Bytes answer);

// "failed in a segment"; of a result that has no meaning, that it has none.
std::string_view ResultWords(SelfTestResult result);

}  // namespace orvan::storage::nvme
