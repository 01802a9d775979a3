#include "tests/fakes/fake_host_devices.h"

#include <thread>

int FakeConsole::ReadKey() {
  const std::lock_guard guard(lock_);
  ++reads_;
  changed_.notify_all();
  if (keys_.empty()) return kNoKey;
  const int key = keys_.front();
  keys_.pop_front();
  return key;
}

void FakeConsole::TakeKeyboard() {
  if (onTake) onTake();
}

void FakeConsole::Press(int key) {
  const std::lock_guard guard(lock_);
  keys_.push_back(key);
}

int FakeConsole::Reads() {
  const std::lock_guard guard(lock_);
  return reads_;
}

void FakeConsole::AwaitReads(int count) {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this, count] { return reads_ >= count; });
}

void FakeTimer::Sleep(std::uint32_t milliseconds) {
  {
    const std::lock_guard guard(lock_);
    sleeps_.push_back(milliseconds);
  }
  now_ += milliseconds;
  std::this_thread::yield();
}

Tick FakeTimer::Now() {
  const std::lock_guard guard(lock_);
  ++looks_;
  looked_.notify_all();
  return now_ += step_;
}

void FakeTimer::AwaitLooks(int count) {
  std::unique_lock guard(lock_);
  const std::int64_t until = looks_ + count;
  looked_.wait(guard, [this, until] { return looks_ >= until; });
}

double FakeTimer::SecondsBetween(Tick start, Tick end) {
  return static_cast<Tick>(end - start) / 1000.0;
}

std::vector<std::uint32_t> FakeTimer::Sleeps() {
  const std::lock_guard guard(lock_);
  return sleeps_;
}
