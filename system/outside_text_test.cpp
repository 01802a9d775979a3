#include "system/outside_text.h"

#include <gtest/gtest.h>

#include "tests/support/steering_texts.h"

namespace tarvex {
namespace {

using testing::SteeringCharacters;
using testing::SteeringIn;
using testing::SteeringText;

TEST(OutsideText, TheseCharactersSteerAndNoOthers) {
  std::wstring expected;
  const auto add = [&expected](wchar_t first, wchar_t last) {
    for (wchar_t character = first; character <= last; ++character) expected += character;
  };
  add(0x00, 0x1F);
  add(0x7F, 0x9F);
  add(0x61C, 0x61C);
  add(0x200E, 0x200F);
  add(0x2028, 0x2029);
  add(0x202A, 0x202E);
  add(0x2066, 0x2069);
  EXPECT_EQ(SteeringCharacters(), expected);
  for (std::uint32_t character = 0x3000; character < 0x120000; ++character) {
    ASSERT_FALSE(IsSteering(character)) << character;
  }
  EXPECT_FALSE(IsSteering(0xFFFFFFFF));
}

TEST(OutsideText, InLineTakesTheLayoutAndNothingElse) {
  EXPECT_EQ(InLine("a\bb\tc\nd\re"),
            "a\x1A"
            "b\x1A"
            "c\x1A"
            "d\x1A"
            "e");
  EXPECT_EQ(InLine("a\tb\nc\rd\be", "\t\n"),
            "a\tb\nc\x1A"
            "d\x1A"
            "e");
  const std::string rest = "\x1b[2J\x7f \xC2\x85 \xE2\x80\xAE \xFF \xE2\x82\xAC";
  EXPECT_EQ(InLine(rest), rest);
  EXPECT_EQ(InLine(std::string("\0", 1)), std::string("\0", 1));
}

TEST(OutsideText, WhatSteersIsReplacedOneByOne) {
  const std::string all = SteeringText();
  std::string expected;
  for (std::size_t i = 0; i < SteeringCharacters().size(); ++i) expected += "a\xEF\xBF\xBD";
  EXPECT_EQ(WithoutSteering(all), expected);
  EXPECT_EQ(SteeringIn(WithoutSteering(all), ""), L"");
  EXPECT_EQ(SteeringIn(WithoutSteering(all, "\t\n"), "\t\n"), L"");
}

TEST(OutsideText, WhatIsKeptStays) {
  EXPECT_EQ(WithoutSteering("a\tb\nc\x1b", "\t\n"), "a\tb\nc\xEF\xBF\xBD");
}

TEST(OutsideText, GoodTextStays) {
  const std::string good =
      "Disk \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x92\xBE \xEF\xBF\xBD \xC2\xA0 \xE2\x80\x8D";
  EXPECT_EQ(WithoutSteering(good), good);
}

TEST(OutsideText, OfIllFormedTextTheBytesOfControlCharactersGo) {
  EXPECT_EQ(WithoutSteering("a\x9B"
                            "2J"),
            "a\xEF\xBF\xBD"
            "2J");
  EXPECT_EQ(WithoutSteering("\xE2\x80"
                            "a"),
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(WithoutSteering("\xE4\xFF\xA0"), "\xE4\xFF\xA0");
  // No new character may come of what is left: this is no U+009B.
  EXPECT_EQ(WithoutSteering("\xC2\xC2\x9B"), "\xC2\xEF\xBF\xBD");
}

}  // namespace
}  // namespace tarvex
