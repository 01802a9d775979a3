#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

// Log pages, which LOG SENSE gives. Pure; any thread.
namespace orvan::storage::scsi {

inline constexpr std::uint8_t kSupportedLogPages = 0x00;
inline constexpr std::uint8_t kWriteErrorsPage = 0x02;
inline constexpr std::uint8_t kReadErrorsPage = 0x03;
inline constexpr std::uint8_t kVerifyErrorsPage = 0x05;
inline constexpr std::uint8_t kNonMediumErrorsPage = 0x06;
inline constexpr std::uint8_t kTemperaturePage = 0x0D;
inline constexpr std::uint8_t kStartStopPage = 0x0E;
inline constexpr std::uint8_t kSelfTestResultsPage = 0x10;
inline constexpr std::uint8_t kSolidStatePage = 0x11;
inline constexpr std::uint8_t kBackgroundScanPage = 0x15;
inline constexpr std::uint8_t kExceptionsPage = 0x2F;
inline constexpr std::uint8_t kAllSubpages = 0xFF;

// Source: SPC-5, 7.3.2, table "Log parameter".
struct LogParameter {
  std::uint16_t code = 0;
  Bytes value;  // a part of the answer, and no longer there than that
};

using LogParameters = std::vector<LogParameter>;

// The parameters of a page in the drive's order; of one that was cut, those that came whole, with
// trouble. A parameter that reaches past its page spoils all of it.
// Source: SPC-5, 7.3.2, table "Log page format".
Decoded<LogParameters> DecodeLogPage(Bytes answer, std::uint8_t page, std::uint8_t subpage = 0);

// The value of the first parameter of that code; none: the page has none.
std::optional<Bytes> ValueOf(const LogParameters& parameters, std::uint16_t code);

// A counter of any length; none when it has no bytes, or does not fit 64 bits.
std::optional<std::uint64_t> CounterOf(Bytes value);

struct LogPageName {
  std::uint8_t page = 0;
  std::uint8_t subpage = 0;
  friend bool operator==(const LogPageName&, const LogPageName&) = default;
};

// The pages that the drive has. `subpage`: what was asked for, 0 or kAllSubpages.
// Source: SPC-5, 7.3, tables "Supported Log Pages log page" and "Supported Log Pages and Subpages
// log page".
Decoded<std::vector<LogPageName>> DecodeSupportedLogPages(Bytes answer, std::uint8_t subpage = 0);

}  // namespace orvan::storage::scsi
