#include "service/recording/stand_ins.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace orvan::recording {
namespace {

Key KeyOf(unsigned char seed) {
  std::array<unsigned char, Key::kBytes> bytes{};
  bytes.fill(seed);
  return Key(bytes);
}

std::span<const std::byte> BytesOf(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

// What of a text its stand-in keeps.
std::string ShapeOf(const std::string& text) {
  std::string shape = text;
  for (char& c : shape) {
    if (c >= '0' && c <= '9') c = '0';
    if (c >= 'a' && c <= 'z') c = 'a';
    if (c >= 'A' && c <= 'Z') c = 'A';
  }
  return shape;
}

TEST(StandInsTest, KeepLengthAndKindOfCharacters) {
  for (const std::string value : {"S3Z2NB0K123456X", "wd-WCC4E1 23_45", "", "-", "7", "x",
                                  "5000c500a1b2c3d4", "0025385B71B0A1E2", "\xC3\xA4 9"}) {
    EXPECT_EQ(ShapeOf(StandInOf(KeyOf(1), value)), ShapeOf(value));
  }
}

TEST(StandInsTest, AreHexadecimalWhereTheValueIs) {
  const std::string standIn = StandInOf(KeyOf(1), "abcdef0123456789abcdefabcdefabcd");
  EXPECT_EQ(standIn.find_first_not_of("0123456789abcdef"), std::string::npos) << standIn;
  std::string other;
  for (unsigned char seed = 0; seed < 8; ++seed) other += StandInOf(KeyOf(seed), "zyxwvu");
  EXPECT_NE(other.find_first_not_of("abcdef"), std::string::npos) << other;
}

TEST(StandInsTest, OfDifferentValuesAreDifferent) {
  for (unsigned char seed = 0; seed < 4; ++seed) {
    std::set<std::string> seen;
    for (int value = 0; value < 10000; ++value) {
      const std::string text = std::to_string(10000 + value).substr(1);
      seen.insert(StandInOf(KeyOf(seed), "S" + text));
    }
    // Each of the 26 letters may stand for the one, and no two values have one stand-in.
    EXPECT_EQ(seen.size(), 10000U);
  }
}

TEST(StandInsTest, FollowFromKeyAndValueAlone) {
  EXPECT_EQ(StandInOf(KeyOf(1), "S3Z2NB0K123456X"), StandInOf(KeyOf(1), "S3Z2NB0K123456X"));
  EXPECT_NE(StandInOf(KeyOf(1), "S3Z2NB0K123456X"), StandInOf(KeyOf(2), "S3Z2NB0K123456X"));
  EXPECT_NE(StandInOf(KeyOf(1), "S3Z2NB0K123456X"), "S3Z2NB0K123456X");
  EXPECT_NE(Key::Make().Bytes(), Key::Make().Bytes());
}

TEST(StandInsTest, TakeNoNoticeOfCaseAndOfWhatStays) {
  const std::string lower = StandInOf(KeyOf(1), "5000c500a1b2c3d4");
  std::string upper = StandInOf(KeyOf(1), "5000C500A1B2C3D4");
  for (char& c : upper) c = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  EXPECT_EQ(lower, upper);
  std::string dashed = StandInOf(KeyOf(1), "5000-c500-a1b2-c3d4");
  std::erase(dashed, '-');
  EXPECT_EQ(dashed, lower);
}

TEST(StandInsTest, OfBytesAreThoseOfTheirHexadecimalText) {
  std::vector<std::uint8_t> bytes = {0x50, 0x00, 0xc5, 0x00, 0xa1, 0xb2, 0xc3, 0xd4};
  ReplaceByStandIn(KeyOf(1), bytes);
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  }
  EXPECT_EQ(text, StandInOf(KeyOf(1), "5000c500a1b2c3d4"));
}

TEST(ContentHashTest, TellsContentsApartAndNothingElse) {
  const std::string sector(512, '\0');
  EXPECT_EQ(HashOf(KeyOf(1), BytesOf(sector)).size(), 32U);
  EXPECT_EQ(HashOf(KeyOf(1), BytesOf(sector)), HashOf(KeyOf(1), BytesOf(sector)));
  EXPECT_NE(HashOf(KeyOf(1), BytesOf(sector)), HashOf(KeyOf(2), BytesOf(sector)));
  EXPECT_NE(HashOf(KeyOf(1), BytesOf(sector)), HashOf(KeyOf(1), BytesOf(sector + '\0')));
}

}  // namespace
}  // namespace orvan::recording
