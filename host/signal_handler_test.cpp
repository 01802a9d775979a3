#include "host/signal_handler.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "host/process_signals.h"
#include "tests/support/test_pipe.h"
#include "tests/support/test_threads.h"

namespace tarvex {
namespace {

using Calls = std::vector<int>;

// What the functions below did. They are plain functions, so it can't be kept elsewhere.
struct Record {
  std::mutex mutex;
  std::condition_variable changed;
  Calls calls;                   // guarded by mutex: signal + 1000 * function
  bool ranOnOtherThread = true;  // guarded by mutex
  SignalHandler* handler = nullptr;
  pid_t thread = 0;
} record;

void Note(int function, int signal) {
  const std::lock_guard lock(record.mutex);
  record.calls.push_back(signal + 1000 * function);
  if (::gettid() == record.thread) record.ranOnOtherThread = false;
  record.changed.notify_all();
}

bool First(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  Note(1, signal);
  return true;
}
bool Second(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  Note(2, signal);
  return true;
}
bool RemovesItself(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  record.handler->RemoveHandler(RemovesItself);
  Note(3, signal);
  return true;
}
bool RemovesSecond(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  record.handler->RemoveHandler(Second);
  Note(4, signal);
  return true;
}

std::atomic<bool> isInside{false};
std::atomic<bool> mayLeave{false};
std::atomic<bool> hasLeft{false};
bool Stays(int /*signal*/, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  isInside = true;
  isInside.notify_all();
  mayLeave.wait(false);
  hasLeft = true;
  return true;
}

class SignalHandlerTest : public testing::Test {
 protected:
  void SetUp() override {
    record.calls.clear();
    record.ranOnOtherThread = true;
    record.handler = &handler_;
    record.thread = ::gettid();
  }
  static Calls WaitForCalls(std::size_t count) {
    std::unique_lock lock(record.mutex);
    record.changed.wait(lock, [count] { return record.calls.size() >= count; });
    return record.calls;
  }
  static void Send(int signal) { ASSERT_EQ(::kill(::getpid(), signal), 0); }

  SignalHandler handler_;
};

TEST_F(SignalHandlerTest, DeliversEveryTerminationSignalOnAThreadOfTheLayer) {
  handler_.SetHandler(First);
  Calls expected;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Send(signal);
    expected.push_back(1000 + signal);
    EXPECT_EQ(WaitForCalls(expected.size()), expected);
  }
  const std::lock_guard lock(record.mutex);
  EXPECT_TRUE(record.ranOnOtherThread);
}

TEST_F(SignalHandlerTest, DeliversEachOfManySignals) {
  handler_.SetHandler(First);
  for (std::size_t i = 1; i <= 500; ++i) {
    Send(SIGINT);
    ASSERT_EQ(WaitForCalls(i).size(), i);
  }
}

TEST_F(SignalHandlerTest, CallsFunctionsInTheOrderOfTheirSettingAndEachOnce) {
  handler_.SetHandler(First);
  handler_.SetHandler(Second);
  handler_.SetHandler(First);
  handler_.SetHandler(nullptr);
  Send(SIGTERM);
  EXPECT_EQ(WaitForCalls(2), (Calls{1000 + SIGTERM, 2000 + SIGTERM}));
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(4), (Calls{1000 + SIGTERM, 2000 + SIGTERM, 1000 + SIGINT, 2000 + SIGINT}));
}

TEST_F(SignalHandlerTest, RemovedFunctionIsCalledNoMore) {
  handler_.SetHandler(First);
  handler_.SetHandler(Second);
  handler_.RemoveHandler(First);
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(1), Calls{2000 + SIGINT});
}

TEST_F(SignalHandlerTest, RemovingWhatIsNotSetDoesNothing) {
  handler_.RemoveHandler(First);
  handler_.RemoveHandler(nullptr);
  handler_.SetHandler(Second);
  handler_.RemoveHandler(First);
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(1), Calls{2000 + SIGINT});
}

TEST_F(SignalHandlerTest, FunctionMayRemoveItselfWhileItRuns) {
  handler_.SetHandler(RemovesItself);
  handler_.SetHandler(First);
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(2), (Calls{3000 + SIGINT, 1000 + SIGINT}));
  Send(SIGTERM);
  EXPECT_EQ(WaitForCalls(3), (Calls{3000 + SIGINT, 1000 + SIGINT, 1000 + SIGTERM}));
}

TEST_F(SignalHandlerTest, FunctionRemovedByAnEarlierOneIsNotCalledForTheSameSignal) {
  handler_.SetHandler(RemovesSecond);
  handler_.SetHandler(Second);
  handler_.SetHandler(First);
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(2), (Calls{4000 + SIGINT, 1000 + SIGINT}));
}

TEST_F(SignalHandlerTest, RemoveWaitsForARunningFunction) {
  handler_.SetHandler(Stays);
  Send(SIGINT);
  isInside.wait(false);
  std::atomic<bool> removing{false};
  bool hadLeft = false;
  std::thread remover([&] {
    removing = true;
    removing.notify_one();
    handler_.RemoveHandler(Stays);
    hadLeft = hasLeft;
  });
  removing.wait(false);
  mayLeave = true;
  mayLeave.notify_all();
  remover.join();
  EXPECT_TRUE(hadLeft);
}

// The signal that ended a process which ran `body` and then asked itself to end.
int EndAfter(void (*body)(SignalHandler&)) {
  const pid_t child = ::fork();
  if (child == 0) {
    SignalHandler handler;
    body(handler);
    ::kill(::getpid(), SIGTERM);
    ::pause();
    ::_exit(0);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST_F(SignalHandlerTest, WithoutFunctionsASignalEndsTheProcess) {
  EXPECT_EQ(EndAfter([](SignalHandler& /*handler*/) {}), SIGTERM);
}

TEST_F(SignalHandlerTest, WithItsLastFunctionGoneASignalEndsTheProcess) {
  EXPECT_EQ(EndAfter([](SignalHandler& handler) {
              handler.SetHandler(First);
              handler.RemoveHandler(First);
            }),
            SIGTERM);
}

TEST_F(SignalHandlerTest,
       ARequestThatNobodyTakesAnyMoreEndsTheProcessUnlessItsSignalIsIgnoredByNow) {
  EXPECT_EQ(EndAfter([](SignalHandler& /*handler*/) { EndByLateSignal(SIGHUP); }), SIGHUP);
  EXPECT_EQ(EndAfter([](SignalHandler& /*handler*/) {
              ::signal(SIGHUP, SIG_IGN);
              EndByLateSignal(SIGHUP);
            }),
            SIGTERM);
}

// How a process ends that took a request with this function, got that further one while the
// function ran or behind it, and then did nothing more: the signal, or 0 when it ended by itself.
int EndOfHung(HostSignalCallback function, int further, std::chrono::milliseconds& took) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    SignalHandler handler(std::chrono::milliseconds(300));
    handler.SetHandler(function);
    ::kill(::getpid(), SIGTERM);
    isInside.wait(false);
    ::kill(::getpid(), further);
    while (true) ::pause();
  }
  const auto start = std::chrono::steady_clock::now();
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               start);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

bool Returns(int /*signal*/, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  isInside = true;
  isInside.notify_all();
  return true;
}

TEST_F(SignalHandlerTest, ARequestThatNothingHonoursEndsTheProcessWhateverHangs) {
  for (const HostSignalCallback function : {Returns, Stays}) {
    isInside = mayLeave = false;
    std::chrono::milliseconds took{};
    EXPECT_EQ(EndOfHung(function, SIGINT, took), SIGTERM) << "the first request counts";
    EXPECT_GE(took, std::chrono::milliseconds(290));
  }
}

TEST_F(SignalHandlerTest, AProcessThatEndsInTimeKeepsItsStatus) {
  const pid_t child = ::fork();
  if (child == 0) {
    isInside = false;
    SignalHandler handler;
    handler.SetHandler(Returns);
    ::kill(::getpid(), SIGTERM);
    isInside.wait(false);
    ::exit(7);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

// A shell that stops its job, or a frozen machine, takes nothing of the time.
TEST_F(SignalHandlerTest, TimeInWhichTheProcessIsStoppedDoesNotCount) {
  const TestPipe toChild;
  const TestPipe fromChild;
  const pid_t child = ::fork();
  if (child == 0) {
    isInside = false;
    SignalHandler handler(std::chrono::milliseconds(3000));
    handler.SetHandler(Returns);
    ::kill(::getpid(), SIGTERM);
    isInside.wait(false);
    char byte = 'x';
    while (byte != 'e') {
      if (::write(fromChild.writing.Get(), &byte, 1) != 1) ::_exit(1);
      if (::read(toChild.reading.Get(), &byte, 1) != 1) ::_exit(2);
    }
    ::_exit(7);
  }
  int status = 0;
  EXPECT_EQ(fromChild.Take(1), "x");
  ::kill(child, SIGSTOP);
  EXPECT_EQ(::waitpid(child, &status, WUNTRACED), child);
  ::poll(nullptr, 0, 3500);
  ::kill(child, SIGCONT);
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(::write(toChild.writing.Get(), "x", 1), 1);
    EXPECT_EQ(fromChild.Take(1), "x");
  }
  EXPECT_EQ(::write(toChild.writing.Get(), "e", 1), 1);
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

// Nobody would call the functions, so the process is not kept from ending.
TEST_F(SignalHandlerTest, WithoutAThreadASignalEndsTheProcess) {
  EXPECT_EQ(EndAfter([](SignalHandler& handler) {
              const RefusedThreads refused;
              handler.SetHandler(First);
            }),
            SIGTERM);
}

TEST_F(SignalHandlerTest, AThreadThatWasRefusedIsAskedForAgain) {
  {
    const RefusedThreads refused;
    handler_.SetHandler(First);
  }
  handler_.SetHandler(First);
  Send(SIGINT);
  EXPECT_EQ(WaitForCalls(1), Calls{1000 + SIGINT});
}

}  // namespace
}  // namespace tarvex
