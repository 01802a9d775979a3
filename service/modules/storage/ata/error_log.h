#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// Registers of a command, as the host wrote them or as the drive left them.
struct Registers {
  std::uint16_t features = 0;  // the host's only
  std::uint16_t count = 0;
  std::uint64_t lba = 0;  // 28 or 48 bits
  std::uint8_t device = 0;

  bool operator==(const Registers&) const = default;
};

// One error that the drive remembers.
struct LoggedError {
  std::uint8_t command = 0;  // the one that failed: CommandName
  Registers asked;
  std::uint32_t milliseconds = 0;  // since the drive was switched on, at which it was asked

  std::uint8_t error = 0;   // the error register
  std::uint8_t status = 0;  // the status register
  Registers left;
  std::uint8_t state = 0;  // what the drive did then: StateWords
  // The drive's age. It is counted in 16 bits, so it starts again after 65535.
  std::uint16_t powerOnHours = 0;

  // The first sector that failed, for errors of which the standard says that it stands there.
  std::optional<std::uint64_t> FailingLba() const;
  bool operator==(const LoggedError&) const = default;
};

struct ErrorLog {
  // Of all errors ever, also those that the log has no more. It stays at 65535.
  std::uint16_t count = 0;
  std::vector<LoggedError> errors;  // newest first
};

// Source: ATA8-ACS, SMART READ LOG, summary SMART error log (log address 01h): 5 entries.
Decoded<ErrorLog> DecodeSummaryErrorLog(Bytes bytes);

// Of the log's pages from the first on, in one piece. `sectors` of the drive, where it tells them:
// some drives write the bytes of an address in order, and not as the standard says. They are found
// out by an unreadable sector that would not be on the disk.
// Source: ACS-4, 9, extended comprehensive SMART error log (log address 03h): 4 entries a page.
Decoded<ErrorLog> DecodeExtendedErrorLog(Bytes pages, std::optional<std::uint64_t> sectors = {});

// For people: "uncorrectable data (UNC), command aborted (ABRT)"; "no error bit" when there is
// none. Source: ACS-4, 6.3 (error field) and 6.2 (status field): names of bits; ATA-3, error
// register, for the address mark, which disks of that time have.
std::string ErrorWords(const LoggedError& error);

// "active or idle", of the state in which an error met the drive.
std::string StateWords(std::uint8_t state);

}  // namespace orvan::storage::ata
