#include "service/recording/secrets.h"

#include <gtest/gtest.h>

#include "tests/support/recording_test_support.h"

namespace orvan::recording {
namespace {

TEST(SecretsTest, AreHiddenWhereverTheyTurnUpAndRevealedAgain) {
  Secrets secrets(KeyOf(1));
  const std::string standIn = secrets.Hide("S466NX0K123456");
  EXPECT_NE(standIn, "S466NX0K123456");
  EXPECT_EQ(secrets.Hide("S466NX0K123456"), standIn);
  const std::string text = "ata-Samsung_S466NX0K123456-part1 xS466NX0K123456x";
  const std::string hidden = secrets.Hidden(text);
  EXPECT_EQ(hidden, "ata-Samsung_" + standIn + "-part1 x" + standIn + 'x');
  EXPECT_EQ(secrets.Revealed(hidden), text);
}

TEST(SecretsTest, AreKnownInOtherForms) {
  Secrets secrets(KeyOf(1));
  secrets.Hide("WD-WCC7K0ABC12");
  secrets.Hide("123e4567-e89b-12d3-a456-426614174000");
  secrets.Hide("two words 17");
  // The last but one as hexadecimal text, the last as an ATA drive stores it.
  for (const std::string form : {"wd-wcc7k0abc12", "123E4567-E89B-12D3-A456-426614174000",
                                 "123e4567e89b12d3a456426614174000", "two_words_17",
                                 "57442d574343374b304142433132", "DWW-CCK7A0CB21"}) {
    EXPECT_NE(secrets.Hidden(form), form);
    EXPECT_EQ(secrets.Revealed(secrets.Hidden(form)), form);
  }
}

TEST(SecretsTest, ThatAreShortOrPlainAreReplacedInTheirPlaceOnly) {
  Secrets secrets(KeyOf(1));
  for (const std::string value : {"ab1", "123456", "aabbaabb", "7"}) {
    EXPECT_EQ(secrets.Hide(value).size(), value.size());
    EXPECT_EQ(secrets.Hidden("x " + value + " x"), "x " + value + " x");
  }
  // Six letters are found where they stand alone, and not inside a word.
  const std::string standIn = secrets.Hide("host17");
  EXPECT_EQ(secrets.Hidden("//host17/a ghost17"), "//" + standIn + "/a ghost17");
  secrets.Hide("20481234");
  EXPECT_EQ(secrets.Hidden("204812345"), "204812345");
  EXPECT_NE(secrets.Hidden("20481234"), "20481234");
}

TEST(SecretsTest, WhatStandsForNoValueStays) {
  Secrets secrets(KeyOf(1));
  for (const std::string value :
       {"", "0000000000000000", "None", "To Be Filled By O.E.M.", "localhost"}) {
    EXPECT_EQ(secrets.Hide(value), value);
  }
}

TEST(SecretsTest, TheLongestOneCounts) {
  Secrets secrets(KeyOf(1));
  secrets.Hide("ABC123");
  const std::string longer = secrets.Hide("ABC123-DEF456");
  EXPECT_EQ(secrets.Hidden("ABC123-DEF456"), longer);
}

}  // namespace
}  // namespace orvan::recording
