#include "service/modules/storage/decoded.h"

#include <gtest/gtest.h>

namespace orvan::storage {
namespace {

TEST(DecodedTest, SaysWhyNothingIsTrusted) {
  const Decoded<int> distrusted = Distrusted<int>("it is another drive's page");
  EXPECT_FALSE(distrusted.value.has_value());
  EXPECT_EQ(distrusted.trouble, "it is another drive's page");
}

TEST(DecodedTest, HasWordsForShortAnswersAndOtherPages) {
  EXPECT_EQ(ShortAnswer(300, 512), "the answer has 300 of 512 bytes");
  EXPECT_EQ(OtherPage(0x0D, 0x2F), "the page is 0Dh, 2Fh was asked for");
  EXPECT_EQ(HexByte(0xA5), "A5h");
  EXPECT_EQ(HexByte(0), "00h");
}

}  // namespace
}  // namespace orvan::storage
