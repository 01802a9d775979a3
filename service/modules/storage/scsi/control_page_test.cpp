#include "service/modules/storage/scsi/control_page.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvan::storage::scsi {
namespace {

using std::chrono::seconds;

// A header, so many bytes of block descriptors, and the page.
std::vector<std::uint8_t> Answer(std::uint16_t time, std::uint8_t descriptorBytes = 0) {
  std::vector<std::uint8_t> bytes(std::size_t{20} + descriptorBytes, 0);
  bytes[1] = static_cast<std::uint8_t>(bytes.size() - 2);
  bytes[7] = descriptorBytes;
  std::uint8_t* page = bytes.data() + 8 + descriptorBytes;
  page[0] = 0x8A;  // may be saved
  page[1] = 10;
  page[10] = static_cast<std::uint8_t>(time >> 8);
  page[11] = static_cast<std::uint8_t>(time);
  return bytes;
}

TEST(ControlPageTest, TellsTheTimeOfAnExtendedSelfTest) {
  for (const std::uint8_t descriptors : {std::uint8_t{0}, std::uint8_t{8}}) {
    const auto page = DecodeControlPage(Answer(0x1234, descriptors));
    ASSERT_TRUE(page.value) << page.trouble;
    EXPECT_EQ(page.value->extendedSelfTest, seconds(0x1234));
    EXPECT_EQ(page.trouble, "");
  }
}

TEST(ControlPageTest, NoTimeAndOneThatDoesNotFitAreNone) {
  for (const std::uint16_t time : {std::uint16_t{0}, std::uint16_t{0xFFFF}}) {
    const auto page = DecodeControlPage(Answer(time));
    ASSERT_TRUE(page.value);
    EXPECT_FALSE(page.value->extendedSelfTest);
  }
}

TEST(ControlPageTest, WhatIsCutOrAnotherPageIsNotTrusted) {
  const std::vector<std::uint8_t> whole = Answer(60);
  EXPECT_EQ(DecodeControlPage(Part(whole, 0, 7)).trouble, "the answer has 7 of 8 bytes");
  EXPECT_EQ(DecodeControlPage(Part(whole, 0, 19)).trouble, "the answer has 19 of 20 bytes");
  std::vector<std::uint8_t> bytes = whole;
  bytes[1] = 17;
  EXPECT_EQ(DecodeControlPage(bytes).trouble, "the answer has 19 of 20 bytes");
  bytes = whole;
  bytes[6] = 0xFF;
  EXPECT_FALSE(DecodeControlPage(bytes).value);
  bytes = whole;
  bytes[8] = 0x08;
  EXPECT_EQ(DecodeControlPage(bytes).trouble, "the page is 08h, 0Ah was asked for");
  bytes[8] = 0x4A;
  EXPECT_FALSE(DecodeControlPage(bytes).value);
  bytes[8] = 0x0A;
  bytes[9] = 9;
  EXPECT_FALSE(DecodeControlPage(bytes).value);
}

}  // namespace
}  // namespace orvan::storage::scsi
