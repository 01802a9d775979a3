#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

enum class SelfTestResult : std::uint8_t {
  kPassed = 0,
  kAbortedByCommand = 1,  // by SEND DIAGNOSTIC
  kAbortedOtherwise = 2,  // by a reset, for one
  kNotCompleted = 3,      // an unknown error kept the drive from going on
  kFailedSomewhere = 4,
  kFailedFirstSegment = 5,
  kFailedSecondSegment = 6,
  kFailedSegment = 7,  // `segment` says which
  kInProgress = 0xF,
};

// Source: SPC-5, 7.3, tables "Self-test results log parameter format" and "SELF-TEST RESULTS
// field"; 6.42, table "SELF-TEST CODE field".
struct SelfTestEntry {
  std::uint8_t code = 0;  // 1: background short, 2: background extended, 5, 6: in the foreground
  SelfTestResult result = SelfTestResult::kPassed;  // 8h to Eh have no meaning
  std::uint8_t segment = 0;
  std::uint16_t powerOnHours = 0;  // FFFFh: that many, or more
  std::optional<std::uint64_t> failingLba;
  std::uint8_t senseKey = 0;
  std::uint8_t senseCode = 0;
  std::uint8_t senseQualifier = 0;
};

// The entries of page 10h, the newest first, 20 at most; those that no test has used are left out.
// Pure; any thread.
Decoded<std::vector<SelfTestEntry>> DecodeSelfTestResults(Bytes answer);

// "failed in its second segment"; of a result that has no meaning, that it has none.
std::string_view ResultWords(SelfTestResult result);

}  // namespace orvan::storage::scsi
