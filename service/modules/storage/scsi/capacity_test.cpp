#include "service/modules/storage/scsi/capacity.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

// 1D1C0BEB0h blocks of 512 bytes, eight to a physical one, the first whole one at 7.
TEST(Capacity, OfADiskWithLargerPhysicalBlocks) {
  const auto found =
      DecodeCapacity(FromHex("00 00 00 01 D1 C0 BE AF 00 00 02 00 00 03 80 07 00*16"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->blocks, 7814037168U);
  EXPECT_EQ(found.value->blockBytes, 512U);
  EXPECT_EQ(found.value->physicalBlockBytes, 4096U);
  EXPECT_EQ(found.value->firstAlignedLba, 7);
  EXPECT_EQ(found.value->protectionType, 0);
  EXPECT_TRUE(found.value->isThin);
}

TEST(Capacity, TellsTheTypeOfProtection) {
  EXPECT_EQ(DecodeCapacity(FromHex("00*7 FF 00 00 10 00 05 00 00 00")).value->protectionType, 3);
  EXPECT_EQ(DecodeCapacity(FromHex("00*7 FF 00 00 10 00 04 00 00 00")).value->protectionType, 0);
  const auto unknown = DecodeCapacity(FromHex("00*7 FF 00 00 10 00 0F 00 00 00"));
  EXPECT_EQ(unknown.value->protectionType, 0);
  EXPECT_EQ(unknown.trouble, "the type of protection is 8, 3 is the highest");
}

TEST(Capacity, IsNoneOfAnAnswerThatIsShortOrNonsense) {
  EXPECT_EQ(DecodeCapacity(FromHex("00*8 00 00 02 00")).trouble, "the answer has 12 of 16 bytes");
  EXPECT_EQ(DecodeCapacity(FromHex("00*32")).trouble, "a block has 0 bytes");
  EXPECT_EQ(DecodeCapacity(FromHex("FF*32")).trouble, "the capacity is no number of blocks");
}

}  // namespace
}  // namespace orvan::storage::scsi
