#include "service/modules/storage/scsi/inquiry.h"

#include <gtest/gtest.h>

#include "service/modules/storage/hex_test_support.h"

namespace orvan::storage::scsi {
namespace {

TEST(StandardInquiry, TellsWhatADiskSaysOfItself) {
  const auto found = DecodeStandardInquiry(FromHexFile("scsi/inquiry_sas_disk.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.trouble, "");
  EXPECT_EQ(found.value->qualifier, 0);
  EXPECT_EQ(found.value->deviceType, 0);
  EXPECT_FALSE(found.value->isRemovable);
  EXPECT_EQ(found.value->version, 6);
  EXPECT_EQ(found.value->vendor, "SEAGATE");
  EXPECT_EQ(found.value->product, "ST4000NM0043");
  EXPECT_EQ(found.value->revision, "MS03");
}

TEST(StandardInquiry, TellsThatAnAtaDriveIsBehindATranslation) {
  const auto found = DecodeStandardInquiry(FromHexFile("scsi/lab_inquiry_libata.hex"));
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->vendor, "ATA");
  EXPECT_EQ(found.value->product, "QEMU HARDDISK");
  EXPECT_EQ(found.value->version, 5);
}

TEST(StandardInquiry, TellsThatNoDeviceIsThere) {
  auto answer = FromHexFile("scsi/inquiry_sas_disk.hex");
  answer[0] = 0x7F;
  answer[1] = 0x80;
  const auto found = DecodeStandardInquiry(answer);
  ASSERT_TRUE(found.value);
  EXPECT_EQ(found.value->qualifier, 3);
  EXPECT_EQ(found.value->deviceType, 0x1F);
  EXPECT_TRUE(found.value->isRemovable);
}

TEST(StandardInquiry, DistrustsAnAnswerThatEndsBeforeItsTexts) {
  auto answer = FromHexFile("scsi/inquiry_sas_disk.hex");
  answer.resize(35);
  const auto found = DecodeStandardInquiry(answer);
  EXPECT_FALSE(found.value);
  EXPECT_EQ(found.trouble, "the answer has 35 of 36 bytes");
  EXPECT_EQ(DecodeStandardInquiry({}).trouble, "the answer has 0 of 36 bytes");
}

TEST(StandardInquiry, DistrustsWhatTheDeviceDoesNotCallData) {
  auto answer = FromHexFile("scsi/inquiry_sas_disk.hex");
  answer[4] = 30;
  EXPECT_EQ(DecodeStandardInquiry(answer).trouble,
            "the device says that 35 bytes of it are data, 36 are the least");
  answer[4] = 31;
  EXPECT_EQ(DecodeStandardInquiry(answer).trouble, "");
  EXPECT_FALSE(DecodeStandardInquiry(std::vector<std::uint8_t>(96, 0)).value);
  EXPECT_EQ(DecodeStandardInquiry(std::vector<std::uint8_t>(96, 0xFF)).trouble,
            "the answer is all ones");
}

}  // namespace
}  // namespace orvan::storage::scsi
