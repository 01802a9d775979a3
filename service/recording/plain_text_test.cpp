#include "service/recording/plain_text.h"

#include <gtest/gtest.h>

#include <string>

namespace orvan::recording {
namespace {

TEST(PlainTextTest, IsUtf8WithoutControlCharacters) {
  for (const std::string& text :
       {std::string(), std::string("a\tb\r\nc ~"), std::string("cpu\0dt\0", 7),
        std::string("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), std::string("cut \xE2\x82")}) {
    EXPECT_TRUE(IsPlainText(text)) << text;
  }
  for (const std::string& bytes :
       {std::string("\x01"), std::string("a\x1B[0m"), std::string("\x7F"), std::string("\x80"),
        std::string("\xC0\x80"), std::string("\xC3 "), std::string("\xE2\x82x"),
        std::string("\xFF\xFF\xFF"), std::string("\xF5\x80\x80\x80")}) {
    EXPECT_FALSE(IsPlainText(bytes)) << bytes;
  }
}

}  // namespace
}  // namespace orvan::recording
