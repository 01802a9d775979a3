#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvan::storage::ata {

// How a self-test ended. The numbers are the standard's; 9 to 14 are reserved.
// Source: ATA8-ACS, SMART READ DATA, table of self-test execution status values.
enum class SelfTestEnd : std::uint8_t {
  kCompleted = 0,  // without error; in SMART data also: none was ever run
  kAborted = 1,
  kInterrupted = 2,
  kFatalError = 3,
  kUnknownElement = 4,
  kElectrical = 5,
  kServo = 6,
  kRead = 7,
  kHandlingDamage = 8,
  kReserved = 9,
  kRunning = 15,
};

struct SelfTestStatus {
  SelfTestEnd end = SelfTestEnd::kCompleted;
  // How much was left, in percent; none when the drive says what the standard does not have.
  std::optional<std::uint8_t> percentLeft;

  bool operator==(const SelfTestStatus&) const = default;
};

SelfTestStatus DecodeSelfTestStatus(std::uint8_t byte);

// Whether the drive found itself faulty.
bool IsFailure(SelfTestEnd end);

// For people: "a sector could not be read".
const char* WordsOf(SelfTestEnd end);

// The name of a self-test: "short", "extended", or its number.
// Source: ATA8-ACS, SMART EXECUTE OFF-LINE IMMEDIATE (B0h/D4h), table of LBA field values.
std::string SelfTestName(std::uint8_t number);

}  // namespace orvan::storage::ata
