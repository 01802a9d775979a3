#include "service/modules/storage/ata/ring_log.h"

#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {
namespace {

std::uint16_t NumberAt(Bytes page, std::size_t at, std::size_t size) {
  return size == 1 ? Little<std::uint8_t>(page, at) : Little<std::uint16_t>(page, at);
}

std::string TroubleOf(Bytes pages, const RingLayout& layout) {
  std::string trouble = TroubleOfSummedPage(pages, layout.what);
  for (std::size_t at = kPageBytes; trouble.empty() && at < pages.size(); at += kPageBytes) {
    const Bytes page = Part(pages, at, kPageBytes);
    // Pages that were never written may be nothing but zeros, whose sum is right.
    if (page.size() < kPageBytes) return ShortAnswer(pages.size(), at + kPageBytes);
    if (!IsAll(page, 0)) trouble = TroubleOfSummedPage(page, layout.what);
  }
  if (!trouble.empty()) return trouble;
  const std::uint16_t version = NumberAt(pages, 0, layout.versionBytes);
  if (version == layout.version) return {};
  return layout.what + " has version " + std::to_string(version) + ", " +
         std::to_string(layout.version) + " was expected";
}

Bytes EntryAt(Bytes pages, const RingLayout& layout, std::size_t place) {
  const std::size_t page = place / layout.entriesOfPage, entry = place % layout.entriesOfPage;
  return Part(pages, page * kPageBytes + layout.firstAt + entry * layout.entryBytes,
              layout.entryBytes);
}

}  // namespace

Ring ReadRing(Bytes pages, const RingLayout& layout) {
  Ring ring;
  ring.trouble = TroubleOf(pages, layout);
  if (!ring.trouble.empty()) return ring;
  const std::uint16_t index = NumberAt(pages, layout.indexAt, layout.indexBytes);
  if (index == 0) return ring;
  const std::size_t places = pages.size() / kPageBytes * layout.entriesOfPage;
  const auto newest = "the newest entry of " + layout.what + " is number " + std::to_string(index);
  if (index > places) {
    ring.trouble = newest + ", the answer has " + std::to_string(places);
    return ring;
  }
  ring.index = index;
  for (std::size_t back = 0; back < places; ++back) {
    const Bytes entry = EntryAt(pages, layout, (index - 1U + places - back) % places);
    if (!IsAll(entry, 0)) {
      ring.entries.push_back(entry);
    } else if (back == 0) {
      return {0, {}, newest + ", which is empty"};
    }
  }
  return ring;
}

}  // namespace orvan::storage::ata
