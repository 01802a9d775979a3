#include "tests/fakes/fake_host_threads.h"

#include <algorithm>
#include <thread>

struct HostThreadState {
  std::thread thread;
};

void FakeSemaphore::Init(int initial, int maximum) {
  const std::lock_guard guard(lock_);
  initial_ = initial;
  maximum_ = maximum;
  count_ = initial;
}

void FakeSemaphore::Wait() {
  std::unique_lock guard(lock_);
  ++waits_;
  ++blocked_;
  changed_.notify_all();
  changed_.wait(guard, [this] { return count_ > 0; });
  --blocked_;
  --count_;
}

void FakeSemaphore::Post() {
  const std::lock_guard guard(lock_);
  count_ = std::min(count_ + 1, maximum_);
  changed_.notify_all();
}

int FakeSemaphore::Count() {
  const std::lock_guard guard(lock_);
  return count_;
}

int FakeSemaphore::Waits() {
  const std::lock_guard guard(lock_);
  return waits_;
}

void FakeSemaphore::AwaitWaiter() {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this] { return blocked_ > 0 && count_ == 0; });
}

int FakeThreads::Start(HostThreadHandle* handle, int /*reserved*/, HostThreadFunction function,
                       void* argument, const char* name) {
  *handle = nullptr;
  if (startResult != 0) return startResult;
  const std::string ownName = name;
  {
    const std::lock_guard guard(lock_);
    names_.push_back(ownName);
  }
  *handle = new HostThreadState{std::thread([this, function, argument, ownName] {
    const std::uintptr_t value = function(argument);
    const std::lock_guard guard(lock_);
    ended_[ownName] = value;
    changed_.notify_all();
  })};
  return 0;
}

void FakeThreads::Join(HostThreadHandle handle) {
  {
    const std::lock_guard guard(lock_);
    ++joins_;
  }
  if (handle == nullptr) return;
  handle->thread.join();
  delete handle;
}

void FakeThreads::AfterStart(HostThreadHandle /*handle*/, int /*reserved*/) {
  const std::lock_guard guard(lock_);
  ++afterStarts_;
}

std::vector<std::string> FakeThreads::Names() {
  const std::lock_guard guard(lock_);
  return names_;
}

int FakeThreads::AfterStarts() {
  const std::lock_guard guard(lock_);
  return afterStarts_;
}

int FakeThreads::Joins() {
  const std::lock_guard guard(lock_);
  return joins_;
}

std::uintptr_t FakeThreads::AwaitEnd(const std::string& name) {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this, &name] { return ended_.count(name) != 0; });
  return ended_[name];
}
