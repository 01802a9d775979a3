#include "os/child_process.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

class ChildProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ours_.Reset(ends[0]);
    theirs_.Reset(ends[1]);
  }
  ~ChildProcessTest() override {
    child_.Kill();
    if (child_.IsThere()) End();
  }

  // Starts a shell with that script.
  void Start(const std::string& script) {
    const std::string path = folder_ / "script";
    std::ofstream(path) << "#!/bin/sh\n" << script;
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    ASSERT_EQ(ChildProcess::Start(path, theirs_, child_), 0);
    theirs_.Reset();
  }
  // All that the script writes to the descriptor that it was given.
  std::string Said() {
    std::string text;
    std::array<char, 4096> piece;
    for (ssize_t got = 0; (got = read(ours_.Get(), piece.data(), piece.size())) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
  }
  ProcessEnd End() {
    pollfd ended{child_.Handle(), POLLIN, 0};
    poll(&ended, 1, -1);
    return child_.TakeEnd().value();
  }

  const TestFolder folder_;
  Descriptor ours_;
  Descriptor theirs_;
  ChildProcess child_;
};

TEST_F(ChildProcessTest, HasItsOneDescriptorAndNothingOfOurs) {
  ASSERT_EQ(setenv("CHILD_PROCESS_TEST", "1", 1), 0);
  const Descriptor other(dup(STDERR_FILENO));
  Start(
      "exec >&3; ls -l /proc/$$/fd | sed 's/.* \\([0-9]\\) -> \\(.*\\)/\\1 \\2/'; "
      "echo \"$CHILD_PROCESS_TEST\"; echo done; exec >&- 3>&-; exit 7");
  const std::string said = Said();
  EXPECT_NE(said.find("0 /dev/null"), std::string::npos) << said;
  EXPECT_NE(said.find("2 /dev/null"), std::string::npos) << said;
  EXPECT_NE(said.find("3 socket:"), std::string::npos) << said;
  EXPECT_NE(said.find("\n\ndone"), std::string::npos) << said;
  EXPECT_EQ(End(), (ProcessEnd{7, 0}));
  EXPECT_FALSE(child_.IsThere());
}

TEST_F(ChildProcessTest, LeadsASessionOfItsOwnAndEndsWithItsGroup) {
  Start("sleep 1000 & echo $! >&3; exec 3>&-; wait");
  std::array<char, 32> text{};
  ASSERT_GT(read(ours_.Get(), text.data(), text.size() - 1), 0);
  const pid_t below = static_cast<pid_t>(std::stol(text.data()));
  EXPECT_EQ(getsid(child_.Id()), child_.Id());
  EXPECT_EQ(getpgid(below), child_.Id());
  EXPECT_FALSE(child_.TakeEnd().has_value());
  child_.Kill();
  EXPECT_EQ(Said(), "");  // all who had the socket are gone
  EXPECT_EQ(End(), (ProcessEnd{0, SIGKILL}));
}

TEST_F(ChildProcessTest, WhatIsLeftOfItsGroupEndsWhenItsOwnEndIsTaken) {
  Start("sleep 1000 & exit 5");
  EXPECT_EQ(End(), (ProcessEnd{5, 0}));
  EXPECT_EQ(Said(), "");  // all who had the socket are gone
}

TEST_F(ChildProcessTest, TellsOfItsEndBeforeThatIsTaken) {
  Start("read line <&3; exit 5");
  EXPECT_FALSE(child_.HasEnded());
  ASSERT_EQ(write(ours_.Get(), "\n", 1), 1);
  pollfd ended{child_.Handle(), POLLIN, 0};
  ASSERT_EQ(poll(&ended, 1, -1), 1);
  EXPECT_TRUE(child_.HasEnded());
  EXPECT_EQ(child_.TakeEnd(), (ProcessEnd{5, 0}));
  EXPECT_FALSE(child_.HasEnded());
}

TEST_F(ChildProcessTest, AnEndThatTheSystemKeepsNothingOfIsUnknown) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  Start("read line <&3; exit 5");
  ASSERT_EQ(write(ours_.Get(), "\n", 1), 1);
  const ProcessEnd end = End();
  signal(SIGCHLD, before);
  EXPECT_EQ(end, (ProcessEnd{0, 0, false}));
}

TEST_F(ChildProcessTest, TellsWhatItDoes) {
  Start("echo x >&3; kill -STOP $$");
  std::array<char, 4> text{};
  ASSERT_EQ(read(ours_.Get(), text.data(), text.size()), 2);
  siginfo_t information{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child_.Id()), &information, WSTOPPED | WNOWAIT), 0);
  EXPECT_EQ(child_.State(), 'T');
}

TEST_F(ChildProcessTest, AProgramThatIsNotThereIsToldAtOnce) {
  EXPECT_EQ(ChildProcess::Start(folder_ / "none", theirs_, child_), ENOENT);
  EXPECT_FALSE(child_.IsThere());
  EXPECT_EQ(child_.State(), kUnknownState);
}

}  // namespace
}  // namespace tarvex
