#include "service/recording/known_secret.h"

#include <gtest/gtest.h>

namespace orvan::recording {
namespace {

bool IsFound(const std::string& secret, const std::string& text) {
  std::vector<std::size_t> characters;
  const KnownSecret known(secret, std::string(secret.size(), 'x'), false);
  return known.IsAt(text, 0, characters);
}

TEST(KnownSecretTest, OtherSeparatorsMayStandWhereItHasSome) {
  for (const char* text : {"volgrp-data17", "volgrp--data17", "volgrp_data17", "volgrp. data17",
                           "volgrp\\x20data17", "VOLGRP-DATA17", "volgrpdata17"}) {
    EXPECT_TRUE(IsFound("volgrp-data17", text)) << text;
  }
  for (const char* text : {"volgrp---data17", "volgrp/data17", "vol-grpdata17"}) {
    EXPECT_FALSE(IsFound("volgrp-data17", text)) << text;
  }
}

TEST(KnownSecretTest, AsWideAGapAsItsOwnIsTaken) {
  EXPECT_TRUE(IsFound("volgrp---data17", "volgrp---data17"));
  EXPECT_TRUE(IsFound("volgrp---data17", "volgrp_-_data17"));
  EXPECT_FALSE(IsFound("volgrp---data17", "volgrp____data17"));
}

TEST(KnownSecretTest, InAHexadecimalNumberTheyMayStandAnywhere) {
  for (const char* text :
       {"525400abcdef", "52:54:00:ab:cd:ef", "525400--abcdef", "5-2540-0abcdef"}) {
    EXPECT_TRUE(IsFound("52:54:00:ab:cd:ef", text)) << text;
  }
  EXPECT_FALSE(IsFound("52:54:00:ab:cd:ef", "525400---abcdef"));
}

}  // namespace
}  // namespace orvan::recording
