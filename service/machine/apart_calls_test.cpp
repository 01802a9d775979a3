#include "service/machine/apart_calls.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <set>
#include <stdexcept>
#include <thread>

#include "os/descriptor.h"
#include "service/machine/read_mailbox.h"
#include "service/machine/thread_state.h"
#include "tests/support/test_threads.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using End = ApartCalls::End;
using Clock = std::chrono::steady_clock;

// A pipe; reading it hangs until `release`.
struct Pipe {
  Pipe() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    reading.Reset(ends[0]);
    writing.Reset(ends[1]);
  }
  // A call that hangs, and owns all that it touches.
  std::function<void()> Hang() const {
    return [fd = std::make_shared<tarvex::Descriptor>(dup(reading.Get()))] {
      char byte = 0;
      (void)!read(fd->Get(), &byte, 1);
    };
  }
  void Release() { writing.Reset(); }
  tarvex::Descriptor reading;
  tarvex::Descriptor writing;
};

bool Comes(const std::function<bool()>& condition) {
  for (const auto end = Clock::now() + 20s; Clock::now() < end && !condition();) {
    std::this_thread::yield();
  }
  return condition();
}

class ApartCallsTest : public testing::Test {
 protected:
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
};

TEST_F(ApartCallsTest, RunsOnAThreadApartAndGivesTheResult) {
  End end = End::kNotTried;
  const auto thread = calls_.Ask([] { return std::this_thread::get_id(); }, {}, end);
  EXPECT_EQ(end, End::kDone);
  ASSERT_TRUE(thread);
  EXPECT_NE(*thread, std::this_thread::get_id());
  EXPECT_EQ(*left_, 0U);
}

TEST_F(ApartCallsTest, CallsInTurnShareAThread) {
  std::set<std::thread::id> threads;
  End end = End::kDone;
  for (int i = 0; i < 100; ++i) {
    threads.insert(*calls_.Ask([] { return std::this_thread::get_id(); }, {}, end));
  }
  EXPECT_EQ(threads.size(), 1U);
}

TEST_F(ApartCallsTest, SeveralThreadsCallAtOnce) {
  std::vector<std::thread> callers;
  std::atomic<int> sum = 0;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&, i] {
      for (int n = 0; n < 100; ++n) {
        End end = End::kDone;
        sum += calls_.Ask([i] { return i; }, {}, end).value_or(1000);
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(sum, 600);
}

TEST_F(ApartCallsTest, AnExceptionPassesToTheCallerAndSpoilsNothing) {
  EXPECT_THROW(calls_.Run([] { throw std::runtime_error("broken"); }, {}), std::runtime_error);
  EXPECT_EQ(calls_.Run([] {}, {}), End::kDone);
  EXPECT_EQ(*left_, 0U);
}

TEST_F(ApartCallsTest, OneThatHangsIsLeftBehindAtItsLimitAndTheNextGoesOn) {
  Pipe pipe;
  const auto start = Clock::now();
  EXPECT_EQ(calls_.Run(pipe.Hang(), {.time = 200ms}), End::kHung);
  EXPECT_GE(Clock::now() - start, 200ms);
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(*left_, 1U);
  EXPECT_EQ(calls_.Run([] {}, {}), End::kDone);
  EXPECT_EQ(calls_.Run(pipe.Hang(), {.time = 1ms}), End::kHung);
  EXPECT_EQ(*left_, 2U);
  pipe.Release();
  EXPECT_TRUE(Comes([&] { return *left_ == 0; }));
}

TEST_F(ApartCallsTest, AStopLeavesItBehindLongBeforeItsLimit) {
  Pipe pipe;
  std::stop_source stop;
  std::thread([&] { stop.request_stop(); }).detach();
  const auto start = Clock::now();
  EXPECT_EQ(calls_.Run(pipe.Hang(), {.time = 1h, .stop = stop.get_token()}), End::kStopped);
  EXPECT_LT(Clock::now() - start, 5s);
  bool isBegun = false;
  EXPECT_EQ(calls_.Run([&] { isBegun = true; }, {.stop = stop.get_token()}), End::kStopped);
  EXPECT_FALSE(isBegun);
  pipe.Release();
  EXPECT_TRUE(Comes([&] { return *left_ == 0; }));
}

TEST_F(ApartCallsTest, AStopLeavesNothingBehindThatComesBackRightAfter) {
  Pipe pipe;
  std::stop_source stop;
  const std::stop_callback release(stop.get_token(), [&] { pipe.Release(); });
  std::promise<void> begun;
  std::thread stopper([&] {
    begun.get_future().wait();
    stop.request_stop();
  });
  const End end = calls_.Run(
      [&, hang = pipe.Hang()] {
        begun.set_value();
        hang();
      },
      {.time = 1h, .stop = stop.get_token()});
  stopper.join();
  EXPECT_EQ(end, End::kDone);
  EXPECT_EQ(*left_, 0U);
}

// Runs for so long, as one that waits for a processor would seem to.
void RunFor(std::chrono::milliseconds time) {
  for (const auto end = Clock::now() + time; Clock::now() < end;) continue;
}

TEST_F(ApartCallsTest, AStopLeavesNothingBehindThatRuns) {
  std::stop_source stop;
  const End end = calls_.Run(
      [&stop] {
        stop.request_stop();
        RunFor(300ms);
      },
      {.stop = stop.get_token()});
  EXPECT_EQ(end, End::kDone);
  EXPECT_EQ(*left_, 0U);
}

TEST_F(ApartCallsTest, AStopWaitsNoLongerThanASecondForWhatRuns) {
  std::stop_source stop;
  const auto isOver = std::make_shared<std::atomic<bool>>(false);
  const auto start = Clock::now();
  const End end = calls_.Run(
      [&stop, isOver] {
        stop.request_stop();
        while (!*isOver) continue;
      },
      {.stop = stop.get_token()});
  EXPECT_EQ(end, End::kStopped);
  EXPECT_GE(Clock::now() - start, 1s);
  EXPECT_EQ(*left_, 1U);
  *isOver = true;
  EXPECT_TRUE(Comes([this] { return *left_ == 0; }));
}

TEST(ReadMailbox, ItsEndCountsAThreadThatSleepsAndNoneThatRuns) {
  for (const bool sleeps : {false, true}) {
    const auto left = std::make_shared<LeftBehindCount>(0);
    const auto mailbox = std::make_shared<ReadMailbox>(left);
    ASSERT_EQ(mailbox->Open(), 0);
    Pipe pipe;
    std::promise<void> begun;
    std::thread thread([&] {
      mailbox->Begin();
      begun.set_value();
      if (sleeps) pipe.Hang()();
      while (!mailbox->TakeOrders().isOver) std::this_thread::yield();
      RunFor(300ms);
      mailbox->Finish();
    });
    begun.get_future().wait();
    mailbox->End();
    EXPECT_EQ(*left, sleeps ? 1U : 0U);
    pipe.Release();
    thread.join();
    EXPECT_EQ(*left, 0U);
  }
}

TEST_F(ApartCallsTest, ItsEndWaitsForNobody) {
  Pipe pipe;
  const auto start = Clock::now();
  {
    ApartCalls calls(left_);
    EXPECT_EQ(calls.Run(pipe.Hang(), {.time = 1ms}), End::kHung);
  }
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_EQ(*left_, 1U);
  pipe.Release();
  EXPECT_TRUE(Comes([&] { return *left_ == 0; }));
}

TEST_F(ApartCallsTest, OneThatRunsHasNotHungAndIsGivenUpAsStalled) {
  const auto isOver = std::make_shared<std::atomic<bool>>(false);
  const auto start = Clock::now();
  const End end = calls_.Run(
      [isOver] {
        while (!*isOver) continue;
      },
      {.time = 100ms, .stall = 600ms});
  EXPECT_EQ(end, End::kStalled);
  EXPECT_GE(Clock::now() - start, 600ms);
  *isOver = true;
  EXPECT_TRUE(Comes([&] { return *left_ == 0; }));
}

TEST_F(ApartCallsTest, WithoutAThreadNothingIsTried) {
  const RefusedThreads refused;
  EXPECT_EQ(calls_.Run([] { ADD_FAILURE(); }, {}), End::kNotTried);
  EXPECT_EQ(*left_, 0U);
}

TEST_F(ApartCallsTest, ItsThreadsTakeNoSignalOfTheProcess) {
  End end = End::kDone;
  const auto blocked = calls_.Ask(
      [] {
        sigset_t signals;
        pthread_sigmask(SIG_BLOCK, nullptr, &signals);
        return signals;
      },
      {}, end);
  ASSERT_TRUE(blocked);
  EXPECT_EQ(sigismember(&*blocked, SIGTERM), 1);
  EXPECT_EQ(sigismember(&*blocked, SIGSEGV), 0);
}

// The state of a thread that does `work`, once it has come to `state`.
void ExpectState(const std::function<void()>& work, char state) {
  std::promise<pid_t> id;
  std::thread([&id, work] {
    id.set_value(gettid());
    work();
  }).detach();
  const pid_t thread = id.get_future().get();
  EXPECT_TRUE(Comes([&] { return ThreadState(thread) == state; })) << state;
}

TEST(ThreadState, TellsSleepAndKernelApart) {
  Pipe pipe;
  ExpectState(pipe.Hang(), kSleeping);
  pipe.Release();
  // Who waits for a child as vfork does can't be interrupted. The call itself, for a sanitizer
  // takes vfork for a plain fork.
  Pipe child;
  const int fd = child.reading.Get();
  ExpectState(
      [fd] {
        if (syscall(SYS_clone, CLONE_VFORK | SIGCHLD, 0, 0, 0, 0) == 0) {
          char byte = 0;
          (void)!read(fd, &byte, 1);
          _exit(0);
        }
      },
      kInKernel);
  (void)!write(child.writing.Get(), "x", 1);
  EXPECT_EQ(ThreadState(gettid()), 'R');
}

TEST(ThreadState, OfNobodyIsUnknown) {
  EXPECT_EQ(ThreadState(-1), kUnknown);
}

}  // namespace
}  // namespace orvan::machine
