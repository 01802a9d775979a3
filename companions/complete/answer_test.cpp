#include "companions/complete/answer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarvex::complete {
namespace {

TEST(AnswerTest, KeepsWhatBeginsAsTyped) {
  Answer answer("-M");
  answer.Offer("-Mstorage", "Storage");
  answer.Offer("-A");
  answer.Offer("-Mstorage", "once more");
  EXPECT_EQ(answer.candidates(), (std::vector<Candidate>{{"-Mstorage", "Storage"}}));
}

TEST(AnswerTest, NoWordIsMoreThanAWordToAShell) {
  for (const char byte : std::string(" \t\n\r\x1b\x7f\"'`$\\;&|<>*?[]{}~#!^%\x80\xff")) {
    Answer answer("");
    answer.Offer(std::string("a") + byte);
    EXPECT_EQ(answer.candidates().size(), 0U) << static_cast<int>(byte);
    EXPECT_FALSE(IsPlainName(std::string("a") + byte)) << static_cast<int>(byte);
  }
}

TEST(AnswerTest, APlainNameIsNoOptionAndHasNothingOfTheGrammar) {
  EXPECT_TRUE(IsPlainName("sda-1_x.2:0+@"));
  for (const char* name : {"", "-x", "a=b", "a(", "a)", "a,b", "a/b"}) {
    EXPECT_FALSE(IsPlainName(name)) << name;
  }
}

TEST(AnswerTest, ASummaryIsOneLineThatSteersNothing) {
  Answer answer("");
  answer.Offer("0", "Disk\x1b[2J\tA\nrm -rf");
  EXPECT_EQ(answer.candidates().front().summary, "Disk\uFFFD[2J\uFFFDA\uFFFDrm -rf");
}

}  // namespace
}  // namespace tarvex::complete
