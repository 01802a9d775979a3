#include "service/modules/storage/nvme/error_log.h"

#include <algorithm>

namespace orvan::storage::nvme {
namespace {

std::optional<std::uint16_t> NumberAt(Bytes entry, std::size_t at) {
  constexpr std::uint16_t kNone = 0xFFFF;
  const auto number = Little<std::uint16_t>(entry, at);
  return number == kNone ? std::nullopt : std::optional(number);
}

ErrorEntry EntryOf(Bytes bytes) {
  ErrorEntry entry;
  entry.number = Little<std::uint64_t>(bytes, 0);
  entry.queue = NumberAt(bytes, 8);
  entry.command = NumberAt(bytes, 10);
  entry.status = static_cast<std::uint16_t>(Little<std::uint16_t>(bytes, 12) >> 1);
  entry.lba = Little<std::uint64_t>(bytes, 16);
  entry.namespaceId = Little<std::uint32_t>(bytes, 24);
  return entry;
}

bool IsNewer(const ErrorEntry& left, const ErrorEntry& right) {
  return left.number > right.number;
}

}  // namespace

Decoded<std::vector<ErrorEntry>> DecodeErrorLog(Bytes answer) {
  using Entries = std::vector<ErrorEntry>;
  if (answer.size() < kErrorEntryBytes) {
    return Distrusted<Entries>(ShortAnswer(answer.size(), kErrorEntryBytes));
  }
  Decoded<Entries> found{Entries(), ""};
  Entries& entries = *found.value;
  std::size_t at = 0;
  for (; Holds(answer, at, kErrorEntryBytes); at += kErrorEntryBytes) {
    const ErrorEntry entry = EntryOf(Part(answer, at, kErrorEntryBytes));
    if (entry.number != 0) entries.push_back(entry);
  }
  // The newest is the one of the highest number, wherever a drive puts it.
  std::sort(entries.begin(), entries.end(), IsNewer);
  const auto twin = std::adjacent_find(
      entries.begin(), entries.end(),
      [](const ErrorEntry& left, const ErrorEntry& right) { return left.number == right.number; });
  if (twin != entries.end()) {
    return Distrusted<Entries>("two entries have the number " + std::to_string(twin->number));
  }
  if (at < answer.size()) found.trouble = "the last entry is cut";
  return found;
}

}  // namespace orvan::storage::nvme
