#include "service/modules/storage/ata/log_directory.h"

#include <gtest/gtest.h>

#include "service/modules/storage/ata/ata_test_support.h"

namespace orvan::storage::ata {
namespace {

TEST(AtaLogDirectoryTest, TellsThePagesOfEachLog) {
  const Decoded<LogDirectory> directory = DecodeLogDirectory(
      Pages().PutWord(0, 1).PutWord(0x01, 1).PutWord(0x03, 0x0102).PutWord(0xFF, 7));
  ASSERT_TRUE(directory.value);
  EXPECT_EQ(directory.value->pages[kSummaryErrorLog], 1);
  EXPECT_EQ(directory.value->pages[kExtendedErrorLog], 0x0102);
  EXPECT_EQ(directory.value->pages[kDeviceStatistics], 0);
  EXPECT_EQ(directory.value->pages[0xFF], 7);
  EXPECT_EQ(directory.value->pages[0], 0);
}

TEST(AtaLogDirectoryTest, DistrustsWhatIsNone) {
  EXPECT_EQ(DecodeLogDirectory(Pages().PutWord(0, 2)).trouble,
            "the log directory has version 2, 1 was expected");
  EXPECT_FALSE(DecodeLogDirectory(Pages().PutWord(0, 2)).value);
  EXPECT_EQ(DecodeLogDirectory(Pages().Cut(100)).trouble, "the answer has 100 of 512 bytes");
  EXPECT_EQ(DecodeLogDirectory(Pages()).trouble, "the answer is nothing but zeros");
}

}  // namespace
}  // namespace orvan::storage::ata
