#include "tests/support/test_host.h"

#include <algorithm>

#include "boundary/hostlayer.h"

struct HostThreadState {
  std::thread thread;
};

namespace {

TestHost* current = nullptr;

}  // namespace

TestHost& CurrentTestHost() {
  return *current;
}

ScopedTestHost::ScopedTestHost() {
  current = &host_;
}

ScopedTestHost::~ScopedTestHost() {
  current = nullptr;
}

int TestConsole::ReadKey() {
  ++reads;
  if (keys.empty()) return kNoKey;
  const int key = keys.front();
  keys.pop_front();
  return key;
}

void TestTimer::Sleep(std::uint32_t /*milliseconds*/) {
  ++sleeps;
}

void TestSemaphore::Init(int initial, int maximum) {
  initValues = {initial, maximum};
  count_ = initial;
  maximum_ = maximum;
}

void TestSemaphore::Wait() {
  if (onWait) onWait();
  std::unique_lock lock(lock_);
  ++waiters_;
  changed_.notify_all();
  changed_.wait(lock, [this] { return count_ > 0; });
  --waiters_;
  --count_;
}

void TestSemaphore::Post() {
  const std::lock_guard lock(lock_);
  count_ = std::min(count_ + 1, maximum_);
  changed_.notify_all();
  if (onPost) onPost();
}

void TestSemaphore::AwaitWaiter() {
  std::unique_lock lock(lock_);
  changed_.wait(lock, [this] { return waiters_ > 0 && count_ == 0; });
}

int TestSemaphore::Count() {
  const std::lock_guard lock(lock_);
  return count_;
}

int TestThread::Start(HostThreadHandle* handle, int /*reserved*/, HostThreadFunction function,
                      void* argument, const char* name) {
  *handle = nullptr;
  if (startResult != 0) return startResult;
  names.emplace_back(name);
  ended_ = false;
  *handle = new HostThreadState{std::thread([this, function, argument] {
    function(argument);
    const std::lock_guard lock(lock_);
    ended_ = true;
    changed_.notify_all();
  })};
  return 0;
}

void TestThread::Join(HostThreadHandle handle) {
  ++joins;
  if (handle != nullptr) {
    handle->thread.join();
    delete handle;
  }
}

void TestThread::AfterStart(HostThreadHandle /*handle*/, int /*reserved*/) {
  ++afterStarts;
}

void TestThread::AwaitEnd() {
  std::unique_lock lock(lock_);
  changed_.wait(lock, [this] { return ended_; });
}

HostConsole* get_console() {
  ++current->consoleUses;
  return current->hasConsole ? &current->console : nullptr;
}

void release_console_instance(HostConsole* /*console*/) {
  ++current->consoleReleases;
}

Timer* get_timer() {
  return &current->timer;
}

HostThread* get_thread() {
  return &current->thread;
}

Filesystem* get_filesystem() {
  return &current->filesystem;
}

HostSemaphore* GetNewSemaphore() {
  current->semaphores.push_back(std::make_unique<TestSemaphore>());
  return current->semaphores.back().get();
}

void ReleaseSemaphoreInstance(HostSemaphore* semaphore) {
  ++current->semaphoreReleases;
  std::erase_if(current->semaphores,
                [semaphore](const auto& one) { return one.get() == semaphore; });
}
