#include "service/modules/storage/bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

namespace orvan::storage {
namespace {

constexpr std::array<std::uint8_t, 8> kEight = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xF8};

Bytes BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(BytesTest, ReadsNumbersOfBothOrders) {
  EXPECT_EQ(Little<std::uint8_t>(kEight, 7), 0xF8);
  EXPECT_EQ(Little<std::uint16_t>(kEight, 1), 0x0302);
  EXPECT_EQ(Little<std::uint32_t>(kEight, 0), 0x04030201U);
  EXPECT_EQ(Little<std::uint64_t>(kEight, 0), 0xF807060504030201U);
  EXPECT_EQ((Little<std::uint64_t, 6>(kEight, 2)), 0xF80706050403U);
  EXPECT_EQ(Big<std::uint16_t>(kEight, 1), 0x0203);
  EXPECT_EQ((Big<std::uint32_t, 3>(kEight, 5)), 0x0607F8U);
  EXPECT_EQ(Big<std::uint64_t>(kEight, 0), 0x01020304050607F8U);
}

TEST(BytesTest, ReadsNothingBeyondTheEnd) {
  EXPECT_EQ(Little<std::uint16_t>(kEight, 7), 0);
  EXPECT_EQ(Big<std::uint16_t>(kEight, 8), 0);
  EXPECT_EQ(Little<std::uint32_t>(kEight, static_cast<std::size_t>(-2)), 0U);
  EXPECT_EQ(Big<std::uint8_t>({}, 0), 0);
}

TEST(BytesTest, TellsWhatIsNotThereFromZero) {
  constexpr std::array<std::uint8_t, 2> kZeros = {};
  EXPECT_EQ(LittleIfThere<std::uint16_t>(kZeros, 0), 0);
  EXPECT_EQ(LittleIfThere<std::uint16_t>(kZeros, 1), std::nullopt);
  EXPECT_EQ(BigIfThere<std::uint16_t>(kZeros, 0), 0);
  EXPECT_EQ(BigIfThere<std::uint8_t>(kZeros, 2), std::nullopt);
  EXPECT_EQ((BigIfThere<std::uint32_t, 3>(kZeros, 0)), std::nullopt);
}

TEST(BytesTest, TakesAsMuchOfAPartAsIsThere) {
  EXPECT_EQ(Part(kEight, 6).size(), 2U);
  EXPECT_EQ(Part(kEight, 6, 1).size(), 1U);
  EXPECT_EQ(Part(kEight, 6, 1)[0], 0x07);
  EXPECT_EQ(Part(kEight, 6, 100).size(), 2U);
  EXPECT_TRUE(Part(kEight, 8, 1).empty());
  EXPECT_TRUE(Part(kEight, static_cast<std::size_t>(-1), 2).empty());
  EXPECT_TRUE(Holds(kEight, 8, 0));
  EXPECT_FALSE(Holds(kEight, 1, static_cast<std::size_t>(-1)));
}

TEST(BytesTest, TellsFilledBytes) {
  constexpr std::array<std::uint8_t, 3> kOnes = {0xFF, 0xFF, 0xFF};
  EXPECT_TRUE(IsAll(kOnes, 0xFF));
  EXPECT_FALSE(IsAll(kEight, 0x01));
  EXPECT_TRUE(IsAll({}, 0));
}

TEST(BytesTest, ReadsTextsOfDrives) {
  using namespace std::string_view_literals;
  EXPECT_EQ(DeviceText(BytesOf("  TARVEX X1\0\0"sv)), "TARVEX X1");
  EXPECT_EQ(DeviceText(BytesOf("a\0b\t[c"sv)), "a b\uFFFD[c");
  EXPECT_EQ(DeviceText(BytesOf("\x1b[2J\xff"sv)), "\uFFFD[2J\uFFFD");
  EXPECT_EQ(DeviceText({}), "");
  EXPECT_EQ(AtaText(BytesOf("ATVRXE1  "sv)), "TARVEX 1");
  EXPECT_EQ(AtaText(BytesOf("\0\0"sv)), "");
  EXPECT_EQ(AtaText(BytesOf("x"sv)), "");
}

}  // namespace
}  // namespace orvan::storage
