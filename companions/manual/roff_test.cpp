#include "companions/manual/roff.h"

#include <gtest/gtest.h>

namespace tarvex::manual {
namespace {

TEST(RoffTest, TextIsNeverARequest) {
  EXPECT_EQ(TextLines(".so /etc/passwd"), "\\&.so /etc/passwd\n");
  EXPECT_EQ(TextLines("'x"), "\\&'x\n");
  EXPECT_EQ(TextLines("a\n.so b"), "a .so b\n");
  EXPECT_EQ(TextLines("\\fB -x"), "\\efB \\-x\n");
}

TEST(RoffTest, EachSentenceHasALine) {
  EXPECT_EQ(TextLines("Takes 1. The rest, e.g. this, stays. .so x"),
            "Takes 1.\nThe rest, e.g. this, stays. .so x\n");
}

TEST(RoffTest, AnArgumentIsOneAndNoMacro) {
  EXPECT_EQ(Argument("Ar"), "\"\\&Ar\"");
  EXPECT_EQ(Argument("a \"b\" \\"), "\"\\&a \\(dqb\\(dq \\e\"");
}

TEST(RoffTest, ASentenceHasACapitalAndAFullStop) {
  EXPECT_EQ(Sentence("reads disks"), "Reads disks.");
  EXPECT_EQ(Sentence("Reads disks."), "Reads disks.");
  EXPECT_EQ(Sentence(""), "");
}

}  // namespace
}  // namespace tarvex::manual
