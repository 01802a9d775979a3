#include "service/modules/storage/said.h"

#include <gtest/gtest.h>

#include <utility>

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

TEST(Said, PassesWithItsNotes) {
  Said said;
  EXPECT_FALSE(said.IsAnyBad());
  EXPECT_EQ(said.Verdict("sound").status, kTestPassed);
  EXPECT_EQ(said.Verdict("sound").message, "");
  said.Note("one thing");
  said.Note("another");
  const sdk::Verdict verdict = said.Verdict("sound");
  EXPECT_EQ(verdict.status, kTestPassed);
  EXPECT_EQ(verdict.message, "|ONE_THING._|ANOTHER");
  EXPECT_EQ(verdict.found, "one thing. another");
  EXPECT_EQ(verdict.expected, "");
}

TEST(Said, IsAsBadAsTheWorstAndSaysNotesLast) {
  Said said;
  said.Note("noted");
  said.Warning("warned");
  EXPECT_TRUE(said.IsAnyBad());
  EXPECT_EQ(said.Verdict("sound").status, kTestWarning);
  EXPECT_EQ(said.Verdict("sound").message, "|WARNED._|NOTED");
  said.Failed("failed");
  said.Warning("warned");
  EXPECT_EQ(said.Verdict("sound").status, kTestFailed);
  EXPECT_EQ(said.Verdict("sound").message, "|WARNED._|FAILED._|WARNED._|NOTED");
  EXPECT_EQ(said.Verdict("sound").expected, "sound");
}

TEST(Said, NamesSixThingsToTheOperatorAndAllInTheLog) {
  Said said;
  for (int i = 1; i <= 8; ++i) said.Warning("w" + std::to_string(i));
  EXPECT_EQ(said.Verdict("").message, "|W1._|W2._|W3._|W4._|W5._|W6._|AND_2_MORE");
  EXPECT_EQ(said.Verdict("").found, "w1. w2. w3. w4. w5. w6. w7. w8");
}

TEST(Said, TellsWhatWasNotToldByItsKind) {
  for (const auto& [kind, status] : {std::pair{Kind::kDone, kTestPassed},
                                     {Kind::kNotSupported, kTestPassed},
                                     {Kind::kNotNow, kTestInvalid},
                                     {Kind::kFailed, kTestWarning},
                                     {Kind::kGarbage, kTestWarning},
                                     {Kind::kTimedOut, kTestWarning},
                                     {Kind::kGone, kTestFailed},
                                     {Kind::kNoPrivilege, kTestInvalid},
                                     {Kind::kNotTried, kTestInvalid},
                                     {Kind::kCanceled, kTestCanceled}}) {
    Said said;
    said.NotTold({kind, "LOG SENSE: why"});
    EXPECT_EQ(said.Verdict("").status, status) << static_cast<int>(kind);
    EXPECT_EQ(said.Verdict("").message.find("|L|O|G_") == std::string::npos,
              status == kTestCanceled);
  }
  Said stopped;
  stopped.Failed("failed");
  stopped.NotTold({Kind::kCanceled, "it was stopped"});
  EXPECT_EQ(stopped.Verdict("").status, kTestCanceled);
  EXPECT_EQ(stopped.Verdict("").message, "|FAILED");
}

}  // namespace
}  // namespace orvan::storage
