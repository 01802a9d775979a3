#include "tools/tool_cli.h"

#include <gtest/gtest.h>

namespace {

TEST(ToolCliTest, OnlyTheTwoWordsSayWhetherTheSystemIsBootable) {
  for (const bool otherwise : {false, true}) {
    EXPECT_TRUE(tarvex::IsBootable({{"BOOTABLE", "TRUE"}}, otherwise));
    EXPECT_FALSE(tarvex::IsBootable({{"BOOTABLE", "FALSE"}}, otherwise));
    EXPECT_EQ(tarvex::IsBootable({{"BOOTABLE", "true"}}, otherwise), otherwise);
    EXPECT_EQ(tarvex::IsBootable({{"BOOTABLE", ""}}, otherwise), otherwise);
    EXPECT_EQ(tarvex::IsBootable({{"OTHER", "TRUE"}}, otherwise), otherwise);
  }
}

}  // namespace
