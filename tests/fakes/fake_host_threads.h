#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "boundary/hostlayer_semaphore.h"
#include "boundary/hostlayer_thread.h"

// A real semaphore that can be watched. Any thread.
class FakeSemaphore final : public HostSemaphore {
 public:
  void Wait() override;
  void Post() override;
  void Init(int initial, int maximum) override;

  int Initial() const { return initial_; }
  int Maximum() const { return maximum_; }
  int Count();
  // How often Wait was called.
  int Waits();
  // Blocks until a thread is blocked in Wait.
  void AwaitWaiter();

 private:
  std::mutex lock_;  // guards the rest after Init
  std::condition_variable changed_;
  int initial_ = -1;
  int maximum_ = -1;
  int count_ = 0;
  int waits_ = 0;
  int blocked_ = 0;
};

// Real threads. Any thread.
class FakeThreads : public HostThread {
 public:
  int Start(HostThreadHandle* handle, int reserved, HostThreadFunction function, void* argument,
            const char* name) override;
  void Join(HostThreadHandle handle) override;
  void AfterStart(HostThreadHandle handle, int reserved) override;

  std::vector<std::string> Names();
  int AfterStarts();
  int Joins();
  // Blocks until a thread of that name has ended; the value that its function ended with.
  std::uintptr_t AwaitEnd(const std::string& name);

  int startResult = 0;  // what Start fails with, unless 0. Set while no thread starts.

 private:
  std::mutex lock_;  // guards the rest
  std::condition_variable changed_;
  std::vector<std::string> names_;
  std::map<std::string, std::uintptr_t> ended_;
  int afterStarts_ = 0;
  int joins_ = 0;
};
