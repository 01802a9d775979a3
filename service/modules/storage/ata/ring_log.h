#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"

namespace orvan::storage::ata {

// Logs whose entries are a ring: the newest has the place that the head names, the one before it
// the place before, and the first place follows the last.

// How the pages of one log are laid out.
struct RingLayout {
  std::string what;  // "the self-test log", for words about trouble
  std::size_t versionBytes = 1;
  std::uint16_t version = 1;
  std::size_t indexAt = 0;
  std::size_t indexBytes = 1;
  std::size_t firstAt = 0;
  std::size_t entryBytes = 0;
  std::size_t entriesOfPage = 0;
};

struct Ring {
  std::uint16_t index = 0;     // the place of the newest entry, from 1 on; 0: there is none
  std::vector<Bytes> entries;  // newest first; places that were never written are left out
  std::string trouble;         // not empty: nothing else is said
};

// Reads pages that follow each other from the log's first on. An index beyond them, a wrong
// checksum of any of them, and an index that names a place never written are trouble.
Ring ReadRing(Bytes pages, const RingLayout& layout);

}  // namespace orvan::storage::ata
