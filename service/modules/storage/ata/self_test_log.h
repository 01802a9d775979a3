#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/ata/self_test_status.h"
#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// One self-test that the drive remembers.
struct LoggedSelfTest {
  std::uint8_t number = 0;  // which test it was: SelfTestName
  SelfTestStatus status;
  // The drive's age when it ended. It is counted in 16 bits, so it starts again after 65535.
  std::uint16_t powerOnHours = 0;
  std::uint8_t checkpoint = 0;  // the maker's own word for where it failed
  // The first sector that made it fail; none when it did not, or when the drive names none.
  std::optional<std::uint64_t> failingLba;

  bool operator==(const LoggedSelfTest&) const = default;
};

struct SelfTestLog {
  // The place of the newest, from 1 on; 0 when the drive remembers none. A new entry has another
  // place, but for a log that has one only.
  std::uint16_t index = 0;
  std::vector<LoggedSelfTest> tests;  // newest first
};

// Source: ATA8-ACS, SMART READ LOG, SMART self-test log (log address 06h): 21 descriptors.
Decoded<SelfTestLog> DecodeSelfTestLog(Bytes bytes);

// Of the log's pages from the first on, in one piece.
// Source: ACS-4, 9, extended SMART self-test log (log address 07h): 19 descriptors a page.
Decoded<SelfTestLog> DecodeExtendedSelfTestLog(Bytes pages);

}  // namespace orvan::storage::ata
