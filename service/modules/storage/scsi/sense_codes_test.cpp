#include "service/modules/storage/scsi/sense_codes.h"

#include <gtest/gtest.h>

namespace orvan::storage::scsi {
namespace {

TEST(SenseCodes, HaveWordsByCodeAndQualifier) {
  EXPECT_EQ(SenseCodeWords(0x00, 0x00), "no additional sense");
  EXPECT_EQ(SenseCodeWords(0x04, 0x09), "not ready, a self-test is in progress");
  EXPECT_EQ(SenseCodeWords(0x11, 0x00), "unrecovered read error");
  EXPECT_EQ(SenseCodeWords(0x20, 0x00), "invalid command operation code");
  EXPECT_EQ(SenseCodeWords(0x24, 0x00), "invalid field in the command");
  EXPECT_EQ(SenseCodeWords(0x74, 0x71), "locked: access to the data is not authorized");
}

TEST(SenseCodes, HaveTheWordsOfTheirCodeForOtherQualifiers) {
  EXPECT_EQ(SenseCodeWords(0x11, 0x7E), "unrecovered read error");
  EXPECT_EQ(SenseCodeWords(0x29, 0x04), "power on or reset");
}

// The high half names the part, the low half what of it.
TEST(SenseCodes, SayWhichFailureIsPredicted) {
  EXPECT_EQ(SenseCodeWords(0x5D, 0x00), "failure prediction threshold exceeded");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x10),
            "failure of the drive is predicted: hardware, general failure");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x14),
            "failure of the drive is predicted: hardware, reassigned blocks");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x32),
            "failure of the drive is predicted: data channel, error rate of data");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x6C),
            "failure of the drive is predicted: firmware, calibration retries");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x73),
            "failure of the medium is predicted: its endurance is used up");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x70), "failure of the drive is predicted");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x1E), "failure of the drive is predicted");
  EXPECT_EQ(SenseCodeWords(0x5D, 0x0F), "failure of the drive is predicted");
}

TEST(SenseCodes, WithoutARowSayWhoseTheyAre) {
  EXPECT_EQ(SenseCodeWords(0x40, 0x85), "diagnostic failure of the component 85h");
  EXPECT_EQ(SenseCodeWords(0x80, 0x00), "a code of the maker's");
  EXPECT_EQ(SenseCodeWords(0xFF, 0xFF), "a code of the maker's");
  EXPECT_EQ(SenseCodeWords(0x30, 0x00), "a code without a name here");
  EXPECT_EQ(SenseCodeWords(0x00, 0x7F), "a code without a name here");
}

}  // namespace
}  // namespace orvan::storage::scsi
