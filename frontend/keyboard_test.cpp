#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

class Keyboard : public FrontEndTest {
 protected:
  Keyboard() {
    AddStorage();
    host().console.onTake = [this] {
      ++takes;
      drawnBefore = capture.Take();
    };
  }
  int TakesOf(const Words& words) {
    Parse(words);
    return takes;
  }

  int takes = 0;
  std::string drawnBefore = "nothing was taken";
};

TEST_F(Keyboard, ARunTakesItBeforeItDrawsItsFirstLine) {
  EXPECT_EQ(TakesOf({"-Mstorage", "-Qf", "0"}), 1);
  EXPECT_EQ(drawnBefore, "");
  EXPECT_EQ(Screen(), kAbortBanner);
}

TEST_F(Keyboard, ARunAllTakesItBeforeItDrawsItsFirstLine) {
  EXPECT_EQ(TakesOf({"-U"}), 1);
  EXPECT_EQ(drawnBefore, "");
  EXPECT_EQ(Screen(), kAbortBanner);
}

TEST_F(Keyboard, ItIsTakenBeforeTheLineThatAWarningDrawsAboveTheBanner) {
  EXPECT_EQ(TakesOf({"-Mstorage", "-Qf,f", "0"}), 1);
  EXPECT_EQ(drawnBefore, "");
  EXPECT_TRUE(Screen().starts_with("\n" + kAbortBanner));
}

TEST_F(Keyboard, AReportInTheForegroundTakesIt) {
  EXPECT_EQ(TakesOf({"-Mstorage", "-Qf", "0", "-o" + folder + "/report"}), 1);
  EXPECT_EQ(ReadFile(folder + "/report").size(), kPlainBanner.size());
}

class NoKeyboard : public Keyboard, public ::testing::WithParamInterface<Words> {};

TEST_P(NoKeyboard, IsTakenWhereNoKeyIsRead) {
  EXPECT_EQ(TakesOf(GetParam()), 0);
}

INSTANTIATE_TEST_SUITE_P(Lines, NoKeyboard,
                         ::testing::Values(Words{}, Words{"-h"}, Words{"-v"}, Words{"-A"},
                                           Words{"-Mstorage", "-D"}, Words{"-Mstorage", "-P"},
                                           Words{"-Mstorage", "-Qf", "0", "--HDK"},
                                           Words{"-U", "--HDK"},
                                           Words{"-Mstorage", "-Qf", "0", "--obg-instance"},
                                           Words{"-Mstorage", "-Q,,", "0"}, Words{"-Mnosuch"},
                                           Words{"-z"}, Words{"-W"}));

}  // namespace
