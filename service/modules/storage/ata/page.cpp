#include "service/modules/storage/ata/page.h"

#include <numeric>

#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

std::string TroubleOfPage(Bytes bytes) {
  if (bytes.size() < kPageBytes) return ShortAnswer(bytes.size(), kPageBytes);
  const Bytes page = Part(bytes, 0, kPageBytes);
  if (IsAll(page, 0)) return "the answer is nothing but zeros";
  if (IsAll(page, 0xFF)) return "the answer is nothing but ones";
  return {};
}

std::string TroubleOfSummedPage(Bytes bytes, const std::string& what) {
  std::string trouble = TroubleOfPage(bytes);
  if (!trouble.empty()) return trouble;
  const Bytes page = Part(bytes, 0, kPageBytes);
  if (std::accumulate(page.begin(), page.end(), 0U) % 0x100U == 0) return {};
  return "the checksum of " + what + " is wrong";
}

}  // namespace orvan::storage::ata
