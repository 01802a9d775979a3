#include "host/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <string>

#include "tests/support/test_threads.h"

namespace tarvex {
namespace {

struct Report {
  std::string name;
  sigset_t blocked;
  pthread_t self;
  HostThreadHandle handle = nullptr;
  bool sawHandle = false;
};

std::uintptr_t FillReport(void* argument) {
  auto* report = static_cast<Report*>(argument);
  std::array<char, 32> name{};
  ::pthread_getname_np(::pthread_self(), name.data(), name.size());
  report->name = name.data();
  ::pthread_sigmask(SIG_BLOCK, nullptr, &report->blocked);
  report->self = ::pthread_self();
  report->sawHandle = report->handle != nullptr;
  return 99;
}

Report RunReport(const char* name) {
  Thread threads;
  Report report;
  EXPECT_EQ(threads.Start(&report.handle, 0, FillReport, &report, name), 0);
  threads.AfterStart(report.handle, 0);
  threads.Join(report.handle);
  return report;
}

TEST(ThreadTest, RunsTheFunctionOnAnotherThreadAndJoinWaitsForIt) {
  const Report report = RunReport("ThreadManager");
  EXPECT_FALSE(::pthread_equal(report.self, ::pthread_self()));
}

TEST(ThreadTest, NamesTheThreadInFifteenBytes) {
  EXPECT_EQ(RunReport("ThreadManager").name, "ThreadManager");
  EXPECT_EQ(RunReport("exactly15bytes!").name, "exactly15bytes!");
  EXPECT_EQ(RunReport("sixteen-bytes-no").name, "sixteen-bytes-n");
}

TEST(ThreadTest, TakesANullName) {
  EXPECT_TRUE(RunReport(nullptr).sawHandle);
}

TEST(ThreadTest, TheThreadFindsItsHandleFilled) {
  EXPECT_TRUE(RunReport("HDKio").sawHandle);
}

TEST(ThreadTest, BlocksSignalsFromOutsideButNotItsOwnFaults) {
  const Report report = RunReport("HDKio");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGWINCH, SIGCHLD}) {
    EXPECT_EQ(sigismember(&report.blocked, signal), 1) << signal;
  }
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
    EXPECT_EQ(sigismember(&report.blocked, signal), 0) << signal;
  }
}

TEST(ThreadTest, LeavesTheCallersSignalsAsTheyWere) {
  sigset_t before;
  sigset_t after;
  ::pthread_sigmask(SIG_BLOCK, nullptr, &before);
  RunReport("HDKio");
  ::pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (int signal = 1; signal < 32; ++signal) {
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
  }
}

TEST(ThreadTest, RefusesToStartNothing) {
  Thread threads;
  int place = 0;
  auto handle = reinterpret_cast<HostThreadHandle>(&place);
  EXPECT_EQ(threads.Start(&handle, 0, nullptr, nullptr, "x"), EINVAL);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(threads.Start(nullptr, 0, FillReport, nullptr, "x"), EINVAL);
}

TEST(ThreadTest, ARefusedThreadSaysWhyAndLeavesNoHandle) {
  const RefusedThreads refused;
  Thread threads;
  Report report;
  EXPECT_EQ(threads.Start(&report.handle, 0, FillReport, &report, "x"), EAGAIN);
  EXPECT_EQ(report.handle, nullptr);
  EXPECT_TRUE(report.name.empty());
}

TEST(ThreadTest, JoinOfNullReturnsAtOnce) {
  Thread threads;
  threads.Join(nullptr);
  SUCCEED();
}

}  // namespace
}  // namespace tarvex
