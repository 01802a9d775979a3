#include "service/modules/storage/scsi/background_scan.h"

#include <array>

#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage::scsi {
namespace {

constexpr std::uint16_t kLastBlock = 0x0800;
constexpr std::size_t kStatusBytes = 12;
constexpr std::size_t kBlockBytes = 20;

constexpr std::array kScanWords = {
    "no scan is active",
    "the scan of the medium is active",
    "the scan before use is active",
    "the scan of the medium has stopped: a fatal error",
    "the scan of the medium has stopped: a pattern of errors",
    "the scan of the medium has stopped: formatted without the maker's defect list",
    "the scan of the medium has stopped: a cause of the maker's",
    "the scan of the medium has stopped: temperature out of range",
    "the scan of the medium waits for its next time",
};

// An empty one has no meaning.
constexpr std::array kReassignWords = {
    "not reassigned",
    "to be reassigned by a write or a command",
    "reassigned by the drive",
    "",
    "not reassigned, for the drive failed to",
    "rewritten in place",
    "reassigned for the host, with valid data",
    "reassigned for the host, without valid data",
    "not reassigned, for a command of the host failed to",
};

ScannedBlock BlockOf(Bytes value) {
  ScannedBlock block;
  block.powerOnMinutes = Big<std::uint32_t>(value, 0);
  block.reassignStatus = value[4] >> 4;
  block.senseKey = value[4] & 0x0F;
  block.senseCode = value[5];
  block.senseQualifier = value[6];
  block.lba = Big<std::uint64_t>(value, 12);
  return block;
}

template <std::size_t kSize>
std::string WordsOf(const std::array<const char*, kSize>& words, std::uint8_t status) {
  const std::string found = status < kSize ? words[status] : "";
  return found.empty() ? "status " + HexByte(status) + ", which has no meaning" : found;
}

}  // namespace

Decoded<BackgroundScan> DecodeBackgroundScan(Bytes answer) {
  const Decoded<LogParameters> log = DecodeLogPage(answer, kBackgroundScanPage);
  if (!log.value) return Distrusted<BackgroundScan>(log.trouble);
  const std::optional<Bytes> status = ValueOf(*log.value, 0);
  if (!status || status->size() < kStatusBytes) {
    return Distrusted<BackgroundScan>(log.trouble.empty() ? "the page has no status of the scan"
                                                          : log.trouble);
  }
  Decoded<BackgroundScan> scan{BackgroundScan(), log.trouble};
  scan.value->powerOnMinutes = Big<std::uint32_t>(*status, 0);
  scan.value->status = (*status)[5];
  scan.value->scans = Big<std::uint16_t>(*status, 6);
  scan.value->progress = Big<std::uint16_t>(*status, 8);
  scan.value->mediumScans = Big<std::uint16_t>(*status, 10);
  for (const LogParameter& parameter : *log.value) {
    if (parameter.code == 0 || parameter.code > kLastBlock) continue;
    if (parameter.value.size() == kBlockBytes) {
      scan.value->blocks.push_back(BlockOf(parameter.value));
    } else {
      scan.trouble = "an entry has " + std::to_string(parameter.value.size()) + " bytes, " +
                     std::to_string(kBlockBytes) + " are right";
    }
  }
  return scan;
}

std::string ScanStatusWords(std::uint8_t status) {
  return WordsOf(kScanWords, status);
}

std::string ReassignStatusWords(std::uint8_t status) {
  return WordsOf(kReassignWords, status);
}

}  // namespace orvan::storage::scsi
