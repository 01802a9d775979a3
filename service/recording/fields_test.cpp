#include "service/recording/fields.h"

#include <gtest/gtest.h>

namespace orvan::recording {
namespace {

TEST(FieldsTest, GivesBackEveryText) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const std::string& text :
       {std::string(), std::string("-"), std::string("="), all, std::string("a b\\x20\n"),
        std::string("--"), std::string("==")}) {
    FieldWriter writer("kind");
    writer.Text(text).Number(7);
    for (const char c : writer.Line()) EXPECT_TRUE(c >= ' ' && c <= '~');
    EXPECT_EQ(writer.Line().find(" = "), std::string::npos);
    FieldReader reader(writer.Line());
    EXPECT_EQ(reader.Text(), "kind");
    EXPECT_EQ(reader.Text(), text);
    EXPECT_EQ(reader.Number(), 7U);
    EXPECT_TRUE(reader.IsAtEnd());
  }
}

TEST(FieldsTest, WritesWhatAPersonCanRead) {
  EXPECT_EQ(FieldWriter("bytes").Text("/sys/a b").Text("").Text("x\n").Error(5).Flag(true).Line(),
            R"(bytes /sys/a\x20b - x\x0a 5 1)");
  EXPECT_EQ(FieldWriter("-").Text("=").Error(-3).Line(), R"(\x2d \x3d 0)");
}

TEST(FieldsTest, RefusesWhatIsNoField) {
  for (const char* wrong :
       {"", " a", "\\", "\\x", "\\x4", "\\xG0", "\\x4A", "\\n", "\x01", "\x80"}) {
    EXPECT_THROW(FieldReader(wrong).Text(), RecordingFault) << wrong;
  }
  for (const char* wrong : {"", "-", "-1", "+1", "1a", "0x1", "18446744073709551616"}) {
    EXPECT_THROW(FieldReader(wrong).Number(), RecordingFault) << wrong;
  }
  EXPECT_EQ(FieldReader("18446744073709551615").Number(), 18446744073709551615U);
  EXPECT_THROW(FieldReader("2").Flag(), RecordingFault);
  EXPECT_THROW(FieldReader("4096").Error(), RecordingFault);
  EXPECT_THROW(FieldReader("256").NumberAs<std::uint8_t>(), RecordingFault);
  EXPECT_THROW(FieldReader("abc").Text(2), RecordingFault);
  EXPECT_EQ(FieldReader("abc").Text(3), "abc");
  EXPECT_THROW(FieldReader("a ").Text(), RecordingFault);
  EXPECT_THROW(FieldReader("a").End(), RecordingFault);
}

}  // namespace
}  // namespace orvan::recording
