#include "service/modules/storage/scsi/self_test_results.h"

#include <algorithm>
#include <array>
#include <limits>

#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage::scsi {
namespace {

constexpr std::uint16_t kMostEntries = 20;
constexpr std::size_t kEntryBytes = 16;

struct WordsRow {
  SelfTestResult result;
  std::string_view words;
};
constexpr std::array<WordsRow, 9> kWords = {{
    {SelfTestResult::kPassed, "completed without error"},
    {SelfTestResult::kAbortedByCommand, "aborted by a command"},
    {SelfTestResult::kAbortedOtherwise, "aborted by a reset or otherwise"},
    {SelfTestResult::kNotCompleted, "could not be completed, for an unknown error"},
    {SelfTestResult::kFailedSomewhere, "failed in an unknown segment"},
    {SelfTestResult::kFailedFirstSegment, "failed in its first segment"},
    {SelfTestResult::kFailedSecondSegment, "failed in its second segment"},
    {SelfTestResult::kFailedSegment, "failed in a segment"},
    {SelfTestResult::kInProgress, "in progress"},
}};

SelfTestEntry EntryOf(Bytes value) {
  SelfTestEntry entry;
  entry.code = value[0] >> 5;
  entry.result = static_cast<SelfTestResult>(value[0] & 0x0F);
  entry.segment = value[1];
  entry.powerOnHours = Big<std::uint16_t>(value, 2);
  const auto lba = Big<std::uint64_t>(value, 4);
  if (lba != std::numeric_limits<std::uint64_t>::max()) entry.failingLba = lba;
  entry.senseKey = value[12] & 0x0F;
  entry.senseCode = value[13];
  entry.senseQualifier = value[14];
  return entry;
}

}  // namespace

Decoded<std::vector<SelfTestEntry>> DecodeSelfTestResults(Bytes answer) {
  using Entries = std::vector<SelfTestEntry>;
  const Decoded<LogParameters> log = DecodeLogPage(answer, kSelfTestResultsPage);
  if (!log.value) return Distrusted<Entries>(log.trouble);
  Decoded<Entries> entries{Entries(), log.trouble};
  // By their numbers, for the newest is 1 wherever it stands.
  for (std::uint16_t code = 1; code <= kMostEntries; ++code) {
    const std::optional<Bytes> value = ValueOf(*log.value, code);
    if (!value) continue;
    if (value->size() != kEntryBytes) {
      entries.trouble = "the entry " + std::to_string(code) + " has " +
                        std::to_string(value->size()) + " bytes, " + std::to_string(kEntryBytes) +
                        " are right";
      continue;
    }
    if (!IsAll(*value, 0)) entries.value->push_back(EntryOf(*value));
  }
  return entries;
}

std::string_view ResultWords(SelfTestResult result) {
  const auto* const row =
      std::find_if(kWords.begin(), kWords.end(),
                   [result](const WordsRow& entry) { return entry.result == result; });
  return row == kWords.end() ? "ended with a result that has no meaning" : row->words;
}

}  // namespace orvan::storage::scsi
