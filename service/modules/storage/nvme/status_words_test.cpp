#include "service/modules/storage/nvme/status_words.h"

#include <gtest/gtest.h>

namespace orvan::storage::nvme {
namespace {

TEST(NvmeStatus, HasWordsByTypeAndCode) {
  EXPECT_EQ(StatusWords(0x000), "success (000h)");
  EXPECT_EQ(StatusWords(0x001), "invalid command opcode (001h)");
  EXPECT_EQ(StatusWords(0x109), "invalid log page (109h)");
  EXPECT_EQ(StatusWords(0x10C), "invalid queue deletion (10Ch)");
  EXPECT_EQ(StatusWords(0x10F), "the feature is not one of a namespace (10Fh)");
  EXPECT_EQ(StatusWords(0x11D), "a self-test is in progress (11Dh)");
  EXPECT_EQ(StatusWords(0x281), "unrecovered read error (281h)");
  EXPECT_EQ(StatusWords(2, 0x81), "unrecovered read error (281h)");
}

// Whether more is told, and whether to try again, stand above them.
TEST(NvmeStatus, TakesNoWordsFromTheBitsAbove) {
  EXPECT_EQ(StatusWords(0x6002), "invalid field in the command (002h)");
  EXPECT_EQ(StatusWords(0xFA, 0x81), "unrecovered read error (281h)");
}

TEST(NvmeStatus, WithoutARowHasTheWordsOfItsType) {
  EXPECT_EQ(StatusWords(0x07F), "an error without a name here (07Fh)");
  EXPECT_EQ(StatusWords(0x17F), "an error of this command (17Fh)");
  EXPECT_EQ(StatusWords(0x2A0), "an error of media or data (2A0h)");
  EXPECT_EQ(StatusWords(0x3A0), "an error of the path (3A0h)");
  EXPECT_EQ(StatusWords(0x500), "an error of unknown type (500h)");
  EXPECT_EQ(StatusWords(0x700), "an error of the maker's (700h)");
  EXPECT_EQ(StatusWords(0x2C0), "an error of the maker's (2C0h)");
}

}  // namespace
}  // namespace orvan::storage::nvme
