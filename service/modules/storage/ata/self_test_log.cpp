#include "service/modules/storage/ata/self_test_log.h"

#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/ata/ring_log.h"

namespace orvan::storage::ata {
namespace {

// Which sector made a test fail. Source: ATA8-ACS and ACS-4, self-test log descriptors: the failing
// LBA is that of the uncorrectable sector that made the test fail; else it says nothing, and drives
// leave 0 or all ones there.
std::optional<std::uint64_t> FailingLba(SelfTestEnd end, std::uint64_t lba, std::uint64_t none) {
  if (!IsFailure(end) || lba == none) return std::nullopt;
  if (lba == 0 && end != SelfTestEnd::kRead) return std::nullopt;
  return lba;
}

// Both kinds of descriptor begin alike. `kLbaBytes` is what sets them apart.
template <std::size_t kLbaBytes>
LoggedSelfTest DecodeTest(Bytes entry) {
  constexpr std::uint64_t kNone = (1ULL << (8 * kLbaBytes)) - 1;
  LoggedSelfTest test;
  test.number = Little<std::uint8_t>(entry, 0);
  test.status = DecodeSelfTestStatus(Little<std::uint8_t>(entry, 1));
  test.powerOnHours = Little<std::uint16_t>(entry, 2);
  test.checkpoint = Little<std::uint8_t>(entry, 4);
  test.failingLba = FailingLba(test.status.end, Little<std::uint64_t, kLbaBytes>(entry, 5), kNone);
  return test;
}

template <std::size_t kLbaBytes>
Decoded<SelfTestLog> DecodeLog(Bytes pages, const RingLayout& layout) {
  Ring ring = ReadRing(pages, layout);
  if (!ring.trouble.empty()) return Distrusted<SelfTestLog>(std::move(ring.trouble));
  SelfTestLog log;
  log.index = ring.index;
  for (const Bytes entry : ring.entries) log.tests.push_back(DecodeTest<kLbaBytes>(entry));
  return {std::move(log), {}};
}

}  // namespace

Decoded<SelfTestLog> DecodeSelfTestLog(Bytes bytes) {
  const RingLayout layout = {"the self-test log", 2, 1, 508, 1, 2, 24, 21};
  return DecodeLog<4>(Part(bytes, 0, kPageBytes), layout);
}

Decoded<SelfTestLog> DecodeExtendedSelfTestLog(Bytes pages) {
  const RingLayout layout = {"the extended self-test log", 1, 1, 2, 2, 4, 26, 19};
  return DecodeLog<6>(pages, layout);
}

}  // namespace orvan::storage::ata
