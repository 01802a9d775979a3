#include "service/modules/storage/health/error_logs.h"

#include <algorithm>
#include <utility>

#include "service/modules/storage/scsi/background_scan.h"
#include "service/modules/storage/scsi/error_counters.h"
#include "service/modules/storage/scsi/log_page.h"
#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

LoggedError EntryOf(const scsi::ScannedBlock& block) {
  constexpr std::uint8_t kRecovered = 1;
  LoggedError entry;
  entry.id = MixedId({block.lba, block.powerOnMinutes, block.senseCode, block.senseQualifier});
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
      errors = NoErrors(asked.trouble);
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

}  // namespace

LoggedErrors ReadScsiErrors(DriveLink& link) {
  const auto list = Ask(link, DriveRequest::kScsiLogSense, {.page = scsi::kSupportedLogPages},
                        [](Bytes bytes) { return scsi::DecodeSupportedLogPages(bytes); });
  if (!list.value) return NoErrors(list.trouble);
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
  if (!pages.errors.troubles.empty()) return NoErrors(pages.errors.troubles.front());
  return NoErrors({Kind::kNotSupported, "the drive has no log page that tells of errors"});
}

}  // namespace orvan::storage
