#include "os/awaited_program.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

AwaitedEnd RunScript(const std::string& script) {
  return RunToItsEnd({"/bin/sh", "-c", script});
}

TEST(AwaitedProgram, TellsHowItEndedAndAsWhichProcess) {
  const AwaitedEnd done = RunScript("exit 21");
  EXPECT_EQ(done.error, 0);
  EXPECT_GT(done.id, 0);
  EXPECT_EQ(done.end, (ProcessEnd{21, 0}));
  EXPECT_EQ(RunScript("kill -USR1 $$").end, (ProcessEnd{0, SIGUSR1}));
}

TEST(AwaitedProgram, OneThatIsNotThereIsAnError) {
  EXPECT_EQ(RunToItsEnd({"/no/such/program"}).error, ENOENT);
}

TEST(AwaitedProgram, WhatAsksTheGroupToEndReachesTheProgramAlone) {
  // 143 is what the shell makes of SIGTERM; with the signal ignored it would come to 7.
  const AwaitedEnd done = RunScript("kill -TERM $PPID; kill -TERM $$; exit 7");
  EXPECT_EQ(done.end, (ProcessEnd{0, SIGTERM}));
}

TEST(AwaitedProgram, ItHasOurEnvironmentAndNothingToReadOrToWriteTo) {
  const TestFolder folder;
  setenv("AWAITED_PROGRAM", "some text", 1);
  const AwaitedEnd done = RunScript(
      "input=$(readlink /proc/$$/fd/0); output=$(readlink /proc/$$/fd/1);"
      "printf '%s\\n' $input $output \"$AWAITED_PROGRAM\" >" +
      folder / "seen");
  EXPECT_EQ(done.end, (ProcessEnd{0, 0}));
  EXPECT_EQ(folder.Read("seen"), "/dev/null\n/dev/null\nsome text\n");
}

}  // namespace
}  // namespace tarvex
