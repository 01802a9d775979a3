#include "service/modules/storage/nvme/wide_count.h"

#include <gtest/gtest.h>

#include <limits>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::nvme {
namespace {

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

TEST(WideCount, IsWrittenInAllItsDigits) {
  EXPECT_EQ(WideCount().Text(), "0");
  EXPECT_EQ((WideCount{0, 10}).Text(), "10");
  EXPECT_EQ((WideCount{0, 5000000000}).Text(), "5000000000");
  EXPECT_EQ((WideCount{0, kAll}).Text(), "18446744073709551615");
  EXPECT_EQ((WideCount{1, 0}).Text(), "18446744073709551616");
  EXPECT_EQ((WideCount{kAll, kAll}).Text(), "340282366920938463463374607431768211455");
}

TEST(WideCount, IsClampedTo64Bits) {
  EXPECT_EQ((WideCount{0, 7}).Clamped(), 7U);
  EXPECT_EQ((WideCount{1, 7}).Clamped(), kAll);
}

TEST(WideCount, ComparesByItsUpperHalfFirst) {
  EXPECT_LT((WideCount{0, kAll}), (WideCount{1, 0}));
  EXPECT_LT((WideCount{1, 0}), (WideCount{1, 1}));
}

TEST(WideCount, HasItsLeastByteFirst) {
  const auto bytes = FromHex("FF 01 00*7 02 00*7 FF");
  EXPECT_EQ(WideAt(bytes, 1), (WideCount{2, 1}));
  EXPECT_EQ(WideAt(bytes, 3), WideCount());
}

}  // namespace
}  // namespace orvan::storage::nvme
