#include "service/modules/storage/health/logged_errors.h"

#include <algorithm>
#include <array>
#include <utility>

#include "service/modules/storage/ata/commands.h"
#include "service/modules/storage/ata/error_log.h"
#include "service/modules/storage/ata/log_directory.h"
#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/ata/smart_data.h"
#include "service/modules/storage/health/drive_health.h"
#include "service/modules/storage/nvme/error_log.h"
#include "service/modules/storage/nvme/identify.h"
#include "service/modules/storage/nvme/status_words.h"
#include "service/modules/storage/scsi/background_scan.h"
#include "service/modules/storage/scsi/error_counters.h"
#include "service/modules/storage/scsi/log_page.h"
#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

LoggedErrors Nothing(DriveTrouble trouble) {
  LoggedErrors errors;
  errors.trouble = std::move(trouble);
  return errors;
}

// The numbers as one, so that no two errors of a log share it but by a rare chance.
std::uint64_t Mixed(std::initializer_list<std::uint64_t> numbers) {
  std::uint64_t mixed = 0xCBF29CE484222325;
  for (const std::uint64_t number : numbers) {
    mixed = (mixed ^ number) * 0x9E3779B97F4A7C15;
    mixed ^= mixed >> 32;
  }
  return mixed == 0 ? 1 : mixed;
}

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
  entry.id = Mixed({error.command, error.milliseconds, error.error, error.status, error.left.lba,
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
  if (!log.value) return Nothing(log.trouble);
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
  if (!has.trouble.text.empty()) return Nothing(has.trouble);
  if (!*has.value) return Nothing({Kind::kNotSupported, "the drive keeps no error log"});
  return OfAta(Ask(link, DriveRequest::kAtaErrorLog, {}, ata::DecodeSummaryErrorLog));
}

LoggedErrors ReadAta(DriveLink& link) {
  const auto identity = ata::DecodeIdentify(link.Opening().data);
  if (!identity.value) return Nothing({Kind::kGarbage, identity.trouble});
  if (auto why = WhyNoSmart(*identity.value)) return Nothing(*std::move(why));
  std::vector<DriveTrouble> troubles;
  if (identity.value->hasLogs) {
    const Asked<std::uint32_t> pages = ExtendedPages(link);
    if (EndsAsking(pages.trouble.kind)) return Nothing(pages.trouble);
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

// What the host asked wrongly is its own fault; what the drive lost, broke or could not carry is
// the drive's. Source: NVM Express Base 2.0, 3.3.3.2.1, status code types and generic codes: data
// transfer error, internal error, sanitize failed, transient transport error; NVM Express NVM
// Command Set 1.0, 3.1.2: compare failure, access denied, deallocated block.
bool IsHarmlessNvme(std::uint16_t status) {
  constexpr std::array<std::uint8_t, 4> kGenericFaults = {0x04, 0x06, 0x1C, 0x22};
  constexpr std::array<std::uint8_t, 3> kMediaAnswers = {0x85, 0x86, 0x87};
  const auto code = static_cast<std::uint8_t>(status & 0xFFU);
  const auto has = [code](const auto& codes) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
  };
  switch (status >> 8 & 7U) {
    case 0:
      return !has(kGenericFaults);
    case 1:
      return true;
    case 2:
      return has(kMediaAnswers);
    default:
      return false;
  }
}

LoggedError EntryOf(const nvme::ErrorEntry& error) {
  constexpr std::uint16_t kMediaType = 2;
  constexpr std::uint32_t kNoNamespace = 0xFFFFFFFF;
  LoggedError entry;
  entry.id = error.number;
  entry.isHarmless = IsHarmlessNvme(error.status);
  entry.text = nvme::StatusWords(error.status);
  // Of other types nothing tells whether 0 is a block or none.
  if ((error.status >> 8 & 7U) == kMediaType) entry.text += " at LBA " + std::to_string(error.lba);
  if (error.namespaceId != 0 && error.namespaceId != kNoNamespace) {
    entry.text += ", namespace " + std::to_string(error.namespaceId);
  }
  return entry;
}

LoggedErrors ReadNvme(DriveLink& link) {
  const auto controller =
      Ask(link, DriveRequest::kNvmeIdentifyController, {}, nvme::DecodeController);
  if (!controller.value) return Nothing(controller.trouble);
  const auto bytes =
      static_cast<std::uint32_t>(controller.value->errorEntries * nvme::kErrorEntryBytes);
  const auto log = Ask(link, DriveRequest::kNvmeErrorLog, {.bytes = bytes}, nvme::DecodeErrorLog);
  if (!log.value) return Nothing(log.trouble);
  ErrorSource source{"log", "in the drive's error log"};
  for (const nvme::ErrorEntry& error : *log.value) source.entries.push_back(EntryOf(error));
  // They are numbered from 1 on over the controller's life.
  if (!source.entries.empty()) source.count = source.entries.front().id;
  LoggedErrors errors;
  errors.sources.push_back(std::move(source));
  if (!log.trouble.text.empty()) errors.troubles.push_back(log.trouble);
  return errors;
}

LoggedError EntryOf(const scsi::ScannedBlock& block) {
  constexpr std::uint8_t kRecovered = 1;
  LoggedError entry;
  entry.id = Mixed({block.lba, block.powerOnMinutes, block.senseCode, block.senseQualifier});
  entry.isHarmless = block.senseKey <= kRecovered;
  entry.text = scsi::SenseCodeWords(block.senseCode, block.senseQualifier) + " at LBA " +
               std::to_string(block.lba) + ", " + scsi::ReassignStatusWords(block.reassignStatus) +
               ", at power-on hour " + std::to_string(block.powerOnMinutes / 60);
  return entry;
}

ErrorSource SourceOf(scsi::BackgroundScan scan) {
  std::stable_sort(scan.blocks.begin(), scan.blocks.end(),
                   [](const scsi::ScannedBlock& left, const scsi::ScannedBlock& right) {
                     return left.powerOnMinutes > right.powerOnMinutes;
                   });
  ErrorSource source{"scan", "in the background scan", scan.blocks.size()};
  for (const scsi::ScannedBlock& block : scan.blocks) source.entries.push_back(EntryOf(block));
  return source;
}

struct CounterPage {
  std::uint8_t page;
  const char* key;
  const char* name;
};
constexpr CounterPage kCounterPages[] = {
    {scsi::kReadErrorsPage, "reads", "of reads that the drive could not correct"},
    {scsi::kWriteErrorsPage, "writes", "of writes that the drive could not correct"},
    {scsi::kVerifyErrorsPage, "verifies", "of verifies that the drive could not correct"},
};

// The longest list of blocks: 2048 of them, 24 bytes each.
// Source: SBC-4, 6.4, parameter codes 0001h to 0800h.
constexpr std::uint32_t kScanBytes = 0xC100;

class ScsiPages {
 public:
  ScsiPages(DriveLink& link, const std::vector<scsi::LogPageName>& pages)
      : link_(link), pages_(pages) {}

  // The page that `decode` makes something of; none when the drive has none, or tells no more.
  template <typename Decode>
  auto Read(std::uint8_t page, std::uint32_t bytes, Decode decode) {
    Asked<typename decltype(decode(Bytes()).value)::value_type> asked;
    const bool has =
        std::find(pages_.begin(), pages_.end(), scsi::LogPageName{page, 0}) != pages_.end();
    if (!has || EndsAsking(errors.trouble.kind)) return asked;
    asked = Ask(link_, DriveRequest::kScsiLogSense, {.page = page, .bytes = bytes}, decode);
    if (asked.trouble.text.empty()) return asked;
    asked.trouble.text = "page " + HexByte(page) + ": " + asked.trouble.text;
    if (EndsAsking(asked.trouble.kind)) {
      errors = Nothing(asked.trouble);
    } else {
      errors.troubles.push_back(asked.trouble);
    }
    return asked;
  }

  LoggedErrors errors;

 private:
  DriveLink& link_;
  const std::vector<scsi::LogPageName>& pages_;
};

LoggedErrors ReadScsi(DriveLink& link) {
  const auto list = Ask(link, DriveRequest::kScsiLogSense, {.page = scsi::kSupportedLogPages},
                        [](Bytes bytes) { return scsi::DecodeSupportedLogPages(bytes); });
  if (!list.value) return Nothing(list.trouble);
  ScsiPages pages(link, *list.value);
  if (!list.trouble.text.empty()) pages.errors.troubles.push_back(list.trouble);
  std::vector<ErrorSource> sources;
  for (const CounterPage& row : kCounterPages) {
    const auto counters = pages.Read(
        row.page, 0, [&row](Bytes bytes) { return scsi::DecodeErrorCounters(bytes, row.page); });
    if (!counters.value || !counters.value->uncorrected) continue;
    sources.push_back({row.key, row.name, *counters.value->uncorrected});
  }
  const auto scan = pages.Read(scsi::kBackgroundScanPage, kScanBytes, scsi::DecodeBackgroundScan);
  if (scan.value) sources.push_back(SourceOf(*scan.value));
  if (EndsAsking(pages.errors.trouble.kind)) return std::move(pages.errors);
  pages.errors.sources = std::move(sources);
  if (!pages.errors.sources.empty()) return std::move(pages.errors);
  if (!pages.errors.troubles.empty()) return Nothing(pages.errors.troubles.front());
  return Nothing({Kind::kNotSupported, "the drive has no log page that tells of errors"});
}

}  // namespace

LoggedErrors ReadLoggedErrors(DriveLink& link) {
  if (!link.Opening().IsDone()) return Nothing({link.Opening().kind, link.Opening().reason});
  switch (link.Protocol()) {
    case DriveProtocol::kAta:
      return ReadAta(link);
    case DriveProtocol::kNvme:
      return ReadNvme(link);
    case DriveProtocol::kScsi:
      return ReadScsi(link);
    case DriveProtocol::kNone:
      break;
  }
  return Nothing({Kind::kNotSupported, "the drive answers no commands"});
}

NewErrors NewOf(const ErrorSource& source) {
  NewErrors found;
  found.count = std::max<std::uint64_t>(source.count, source.entries.size());
  found.entries = source.entries.size();
  found.isAtLeast = source.isCountFull;
  return found;
}

NewErrors NewSince(const ErrorSource& source, std::uint64_t countBefore,
                   std::uint64_t newestBefore) {
  const std::uint64_t newest = source.entries.empty() ? 0 : source.entries.front().id;
  const auto known =
      std::find_if(source.entries.begin(), source.entries.end(),
                   [newestBefore](const LoggedError& one) { return one.id == newestBefore; });
  const auto place = static_cast<std::uint64_t>(known - source.entries.begin());
  const bool isKnown = newestBefore != 0 && known != source.entries.end();
  if (source.count == countBefore && newest == newestBefore) return {};
  if (source.count == countBefore && source.isCountFull) {
    return {place, place, !isKnown, false};
  }
  if (source.count <= countBefore) {
    NewErrors all = NewOf(source);
    all.wasCleared = true;
    return all;
  }
  const std::uint64_t count = source.count - countBefore;
  return {count, std::min<std::uint64_t>(count, source.entries.size()), source.isCountFull, false};
}

}  // namespace orvan::storage
