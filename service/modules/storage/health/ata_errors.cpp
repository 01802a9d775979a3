#include "service/modules/storage/health/error_logs.h"

#include "service/modules/storage/ata/commands.h"
#include "service/modules/storage/ata/error_log.h"
#include "service/modules/storage/ata/log_directory.h"
#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/ata/smart_data.h"
#include "service/modules/storage/health/drive_health.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

// Source: ACS-4, 6.3 (error field) and 6.2 (status field): a checksum of a transfer, uncorrectable
// data, a sector that is not found, a device fault; ATA-3, error register, for an address mark that
// is not. ABRT alone says that the drive does not do what it was asked.
bool IsHarmless(const ata::LoggedError& error) {
  constexpr std::uint8_t kFaults = 0x80 | 0x40 | 0x10 | 0x01;
  constexpr std::uint8_t kDeviceFault = 0x20;
  return (error.error & kFaults) == 0 && (error.status & kDeviceFault) == 0;
}

LoggedError EntryOf(const ata::LoggedError& error) {
  LoggedError entry;
  entry.id = MixedId({error.command, error.milliseconds, error.error, error.status, error.left.lba,
                      error.powerOnHours});
  entry.isHarmless = IsHarmless(error);
  entry.text = ata::ErrorWords(error);
  if (const auto lba = error.FailingLba()) entry.text += " at LBA " + std::to_string(*lba);
  entry.text += ", " + ata::CommandName(error.command) + ", at power-on hour " +
                std::to_string(error.powerOnHours);
  return entry;
}

LoggedErrors OfAta(const Asked<ata::ErrorLog>& log) {
  constexpr std::uint16_t kFull = 0xFFFF;
  if (!log.value) return NoErrors(log.trouble);
  ErrorSource source{"log", "in the drive's error log", log.value->count,
                     log.value->count == kFull};
  for (const ata::LoggedError& error : log.value->errors) source.entries.push_back(EntryOf(error));
  LoggedErrors errors;
  errors.sources.push_back(std::move(source));
  if (!log.trouble.text.empty()) errors.troubles.push_back(log.trouble);
  return errors;
}

// The pages of the extended error log; 0: the drive has none that can be read in one piece.
Asked<std::uint32_t> ExtendedPages(DriveLink& link) {
  constexpr std::uint32_t kMost = sdk::kLargestCommandBytes / ata::kPageBytes;
  const auto logs = Ask(link, DriveRequest::kAtaLogDirectory, {}, ata::DecodeLogDirectory);
  const std::uint32_t pages = logs.value ? logs.value->pages[ata::kExtendedErrorLog] : 0U;
  return {pages <= kMost ? pages : 0, logs.trouble};
}

// Some drives tell in SMART data alone that they have the log.
Asked<bool> HasSummary(DriveLink& link, const ata::Identify& identity) {
  if (identity.hasErrorLog) return {true, {}};
  const auto data = Ask(link, DriveRequest::kSmartData, {}, ata::DecodeSmartData);
  if (!data.value) return {false, data.trouble};
  return {data.value->hasErrorLog, {}};
}

LoggedErrors ReadSummary(DriveLink& link, const ata::Identify& identity) {
  const Asked<bool> has = HasSummary(link, identity);
  if (!has.trouble.text.empty()) return NoErrors(has.trouble);
  if (!*has.value) return NoErrors({Kind::kNotSupported, "the drive keeps no error log"});
  return OfAta(Ask(link, DriveRequest::kAtaErrorLog, {}, ata::DecodeSummaryErrorLog));
}

}  // namespace

LoggedErrors ReadAtaErrors(DriveLink& link) {
  const auto identity = ata::DecodeIdentify(link.Opening().data);
  if (!identity.value) return NoErrors({Kind::kGarbage, identity.trouble});
  if (auto why = WhyNoSmart(*identity.value)) return NoErrors(*std::move(why));
  std::vector<DriveTrouble> troubles;
  if (identity.value->hasLogs) {
    const Asked<std::uint32_t> pages = ExtendedPages(link);
    if (EndsAsking(pages.trouble.kind)) return NoErrors(pages.trouble);
    if (!pages.trouble.text.empty()) troubles.push_back(pages.trouble);
    if (*pages.value > 0) {
      const auto bytes = static_cast<std::uint32_t>(*pages.value * ata::kPageBytes);
      auto log =
          OfAta(Ask(link, DriveRequest::kAtaExtErrorLog, {.bytes = bytes}, [&identity](Bytes log) {
            return ata::DecodeExtendedErrorLog(log, identity.value->sectors);
          }));
      if (!log.sources.empty() || EndsAsking(log.trouble.kind)) return log;
      troubles.push_back(log.trouble);
    }
  }
  LoggedErrors errors = ReadSummary(link, *identity.value);
  errors.troubles.insert(errors.troubles.begin(), troubles.begin(), troubles.end());
  return errors;
}

}  // namespace orvan::storage
