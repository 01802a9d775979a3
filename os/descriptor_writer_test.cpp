#include "os/descriptor_writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>

#include "tests/support/test_pipe.h"

namespace tarvex {
namespace {

int Never() {
  return -1;
}

int NotAtAll() {
  return 0;
}

std::string ManyTimesAPipe() {
  std::string text(1U << 20, ' ');
  for (std::size_t at = 0; at < text.size(); ++at) text[at] = static_cast<char>('a' + at % 23);
  return text;
}

class WriteAllTest : public testing::Test {
 protected:
  int Write(const std::string& text, const WritePatience& patience = nullptr) {
    return WriteAll(pipe_.writing.Get(), text.data(), text.size(), patience);
  }

  TestPipe pipe_;
  const std::string text_ = ManyTimesAPipe();
};

TEST_F(WriteAllTest, WaitsForANonBlockingDescriptor) {
  for (const WritePatience& patience : {WritePatience(nullptr), WritePatience(Never)}) {
    TestPipe pipe;
    fcntl(pipe.writing.Get(), F_SETFL, O_NONBLOCK);
    std::string received;
    std::thread reader([&] { received = ReadToEnd(pipe.reading.Get()); });
    EXPECT_EQ(WriteAll(pipe.writing.Get(), text_.data(), text_.size(), patience), 0);
    pipe.writing.Close();
    reader.join();
    EXPECT_EQ(received, text_);
  }
}

TEST_F(WriteAllTest, GoesOnAfterInterruptions) {
  struct sigaction interrupt {};
  interrupt.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGUSR1, &interrupt, &before);
  const pthread_t writer = pthread_self();
  for (const WritePatience& patience : {WritePatience(nullptr), WritePatience(Never)}) {
    TestPipe pipe;
    std::string received;
    std::thread reader([&] {
      for (int count = 0; count < 50; ++count) {
        pthread_kill(writer, SIGUSR1);
        received += pipe.Take(1000);
      }
      received += ReadToEnd(pipe.reading.Get());
    });
    EXPECT_EQ(WriteAll(pipe.writing.Get(), text_.data(), text_.size(), patience), 0);
    pipe.writing.Close();
    reader.join();
    EXPECT_EQ(received, text_);
  }
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(WriteAllTest, TellsTheFirstFailure) {
  const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  for (const WritePatience& patience : {WritePatience(nullptr), WritePatience(NotAtAll)}) {
    EXPECT_EQ(WriteAll(-1, "x", 1, patience), EBADF);
    EXPECT_EQ(WriteAll(full.Get(), "x", 1, patience), ENOSPC);
    EXPECT_EQ(WriteAll(-1, "", 0, patience), 0);
  }
}

TEST_F(WriteAllTest, TellsThatNobodyReads) {
  pipe_.reading.Close();
  const auto before = signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(Write("x"), EPIPE);
  EXPECT_EQ(Write("x", NotAtAll), EPIPE);
  signal(SIGPIPE, before);
}

// ---- patience -----------------------------------------------------------------------------------

TEST_F(WriteAllTest, WhatFitsNeedsNoPatience) {
  EXPECT_EQ(Write("abc", NotAtAll), 0);
  EXPECT_EQ(pipe_.Take(10), "abc");
}

TEST_F(WriteAllTest, ABlockingPipeThatNobodyReadsTimesOut) {
  EXPECT_EQ(Write(text_, NotAtAll), ETIMEDOUT);
  // What fitted was written, in order.
  const std::string taken = pipe_.Take(text_.size());
  EXPECT_GE(taken.size(), 4096U);
  EXPECT_EQ(taken, text_.substr(0, taken.size()));
}

TEST_F(WriteAllTest, ABlockingSocketThatNobodyReadsTimesOut) {
  std::array<int, 2> ends{-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  EXPECT_EQ(WriteAll(writing.Get(), text_.data(), text_.size(), NotAtAll), ETIMEDOUT);
}

TEST_F(WriteAllTest, PatienceIsAskedAgainWhileItWaits) {
  pipe_.Fill();
  int asked = 0;
  EXPECT_EQ(Write("x", [&asked] { return ++asked < 3 ? -1 : 0; }), ETIMEDOUT);
  EXPECT_EQ(asked, 3);
}

TEST_F(WriteAllTest, PatienceIsOverWhenItsTimeIs) {
  pipe_.Fill();
  int asked = 0;
  // Asked at 0, 100, 200 and 250 milliseconds, and the last look finds nothing left to wait.
  EXPECT_EQ(Write("x", [&asked] { return ++asked, 250; }), ETIMEDOUT);
  EXPECT_EQ(asked, 4);
}

TEST_F(WriteAllTest, PatienceBeginsAnewWithEachPieceThatIsTaken) {
  pipe_.Fill();
  int asked = 0;
  std::string taken;
  // Each piece waits once for its whole patience before the reader makes room for it.
  const auto slowReader = [&] {
    if (++asked % 2 == 0) taken += pipe_.Take(4096);
    return 100;
  };
  EXPECT_EQ(Write(text_.substr(0, 3 * 4096), slowReader), 0);
  EXPECT_EQ(asked, 6);
}

TEST_F(WriteAllTest, AReaderThatGoesAwayEndsTheWait) {
  pipe_.Fill();
  const auto before = signal(SIGPIPE, SIG_IGN);
  int asked = 0;
  EXPECT_EQ(Write("x",
                  [&] {
                    if (++asked == 2) pipe_.reading.Close();
                    return -1;
                  }),
            EPIPE);
  EXPECT_EQ(asked, 2);
  signal(SIGPIPE, before);
}

}  // namespace
}  // namespace tarvex
