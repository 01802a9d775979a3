#include "service/modules/storage/nvme/self_test_log.h"

#include <array>
#include <utility>

namespace orvan::storage::nvme {
namespace {

constexpr std::size_t kHeadBytes = 4;
constexpr std::size_t kEntryBytes = 28;
constexpr std::uint8_t kUnused = 0xF;

constexpr std::array<std::string_view, 10> kWords = {
    "completed without error",
    "aborted by a command",
    "aborted by a reset",
    "aborted, for a namespace was removed",
    "aborted by a format",
    "could not be completed, for a fatal or unknown error",
    "failed in an unknown segment",
    "failed in a segment",
    "aborted for an unknown reason",
    "aborted by a sanitize",
};

// Source: NVM Express Base 2.0, 5.16.1.7: what runs is a short or an extended test, or the maker's.
constexpr bool IsTest(std::uint8_t code) {
  return code == kShortTest || code == kExtendedTest || code == 0xE;
}

// The fields that the third byte vouches for.
void ReadDiagnostics(Bytes bytes, SelfTestEntry& entry) {
  const std::uint8_t valid = bytes[2];
  if ((valid & 0x01) != 0) entry.namespaceId = Little<std::uint32_t>(bytes, 12);
  if ((valid & 0x02) != 0) entry.failingLba = Little<std::uint64_t>(bytes, 16);
  if ((valid & 0x04) != 0) entry.statusType = bytes[24] & 7;
  if ((valid & 0x08) != 0) entry.statusCode = bytes[25];
}

SelfTestEntry EntryOf(Bytes bytes) {
  SelfTestEntry entry;
  entry.code = bytes[0] >> 4;
  entry.result = static_cast<SelfTestResult>(bytes[0] & 0x0F);
  if (entry.result == SelfTestResult::kFailedSegment) entry.segment = bytes[1];
  entry.powerOnHours = Little<std::uint64_t>(bytes, 4);
  ReadDiagnostics(bytes, entry);
  return entry;
}

// No test has the code 0, so an entry of zeros is none of a test that passed.
bool IsUsed(Bytes bytes) {
  return (bytes[0] & 0x0F) != kUnused && bytes[0] >> 4 != 0;
}

}  // namespace

Decoded<SelfTestLog> DecodeSelfTestLog(Bytes answer) {
  if (answer.size() < kSelfTestLogBytes) {
    return Distrusted<SelfTestLog>(ShortAnswer(answer.size(), kSelfTestLogBytes));
  }
  SelfTestLog log;
  log.runningCode = answer[0] & 0x0F;
  std::string trouble;
  if (log.runningCode != 0) {
    const std::uint8_t percent = answer[1] & 0x7F;
    if (percent <= 100) {
      log.percentDone = percent;
    } else {
      trouble = "a self-test is done by " + std::to_string(percent) + " percent";
      if (!IsTest(log.runningCode)) return Distrusted<SelfTestLog>(std::move(trouble));
    }
  }
  const Bytes all = Part(answer, 0, kSelfTestLogBytes);
  for (std::size_t at = kHeadBytes; Holds(all, at, kEntryBytes); at += kEntryBytes) {
    const Bytes bytes = Part(all, at, kEntryBytes);
    if (IsUsed(bytes)) log.entries.push_back(EntryOf(bytes));
  }
  return {std::move(log), std::move(trouble)};
}

std::string_view ResultWords(SelfTestResult result) {
  const auto number = static_cast<std::size_t>(result);
  return number < kWords.size() ? kWords[number] : "ended with a result that has no meaning";
}

}  // namespace orvan::storage::nvme
