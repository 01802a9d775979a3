#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "boundary/hostlayer_console.h"
#include "boundary/hostlayer_semaphore.h"
#include "boundary/hostlayer_thread.h"
#include "system/filesystem/win_filesystem.h"
#include "system/timer.h"

// The host layer that the unit tests of this folder run on: keys and ticks are given by the test,
// threads and semaphores are real and can be watched.

class TestConsole : public HostConsole {
 public:
  int ReadKey() override;
  void TakeKeyboard() override { ++takes; }

  std::deque<int> keys;
  int reads = 0;
  int takes = 0;
};

// Each reading of the clock is one millisecond after the one before.
class TestTimer : public Timer {
 public:
  void Sleep(std::uint32_t milliseconds) override;
  double SecondsBetween(Tick start, Tick end) override { return (end - start) / 1000.0; }
  Tick Now() override { return now++; }
  void ClearTick(Tick* tick) override { *tick = 0; }
  bool IsClear(const Tick* tick) override { return *tick == 0; }
  bool TicksEqual(const Tick* left, const Tick* right) override { return *left == *right; }

  std::atomic<Tick> now{0};
  std::atomic<int> sleeps{0};
};

class TestSemaphore : public HostSemaphore {
 public:
  void Wait() override;
  void Post() override;
  void Init(int initial, int maximum) override;
  // Blocks until a thread is blocked in Wait.
  void AwaitWaiter();
  int Count();

  std::pair<int, int> initValues{-1, -1};
  // Called at the beginning of each Wait, and in each Post before it returns and others may take
  // the count; set before threads start.
  std::function<void()> onWait;
  std::function<void()> onPost;

 private:
  std::mutex lock_;  // guards the rest
  std::condition_variable changed_;
  int count_ = 0;
  int maximum_ = 0;
  int waiters_ = 0;
};

class TestThread : public HostThread {
 public:
  int Start(HostThreadHandle* handle, int reserved, HostThreadFunction function, void* argument,
            const char* name) override;
  void Join(HostThreadHandle handle) override;
  void AfterStart(HostThreadHandle handle, int reserved) override;
  // Blocks until the function of the last thread has returned.
  void AwaitEnd();

  int startResult = 0;
  std::vector<std::string> names;
  int afterStarts = 0;
  int joins = 0;

 private:
  std::mutex lock_;  // guards ended_
  std::condition_variable changed_;
  bool ended_ = false;
};

// The rules of the real filesystem, with the program in another folder.
class TestFilesystem : public WinFilesystem {
 public:
  const char* GetExecutableDirectory() override {
    return programDirectory.empty() ? nullptr : programDirectory.c_str();
  }

  std::string programDirectory;
};

struct TestHost {
  TestConsole console;
  bool hasConsole = true;
  int consoleUses = 0;
  int consoleReleases = 0;
  TestTimer timer;
  TestThread thread;
  TestFilesystem filesystem;
  // Those that are not released, in the order in which they were asked for.
  std::vector<std::unique_ptr<TestSemaphore>> semaphores;
  int semaphoreReleases = 0;
};

// The host of the running test.
TestHost& CurrentTestHost();

// Gives each test a new host.
class ScopedTestHost {
 public:
  ScopedTestHost();
  ~ScopedTestHost();
  ScopedTestHost(const ScopedTestHost&) = delete;
  ScopedTestHost& operator=(const ScopedTestHost&) = delete;

  TestHost* operator->() { return &host_; }

 private:
  TestHost host_;
};
