#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "boundary/hostlayer_console.h"
#include "system/timer.h"

// A keyboard whose keys the test presses. Any thread.
class FakeConsole : public HostConsole {
 public:
  int ReadKey() override;
  void TakeKeyboard() override;

  std::function<void()> onTake;  // called by TakeKeyboard
  void Press(int key);
  // How often a key was asked for.
  int Reads();
  // Blocks until a key was asked for `count` times in all.
  void AwaitReads(int count);

 private:
  std::mutex lock_;  // guards the rest
  std::condition_variable changed_;
  std::deque<int> keys_;
  int reads_ = 0;
};

// A clock that stands still until the test moves it. Sleep moves it as well and does not wait.
// Any thread.
class FakeTimer : public Timer {
 public:
  void Sleep(std::uint32_t milliseconds) override;
  double SecondsBetween(Tick start, Tick end) override;
  Tick Now() override;
  void ClearTick(Tick* tick) override { *tick = 0; }
  bool IsClear(const Tick* tick) override { return *tick == 0; }
  bool TicksEqual(const Tick* left, const Tick* right) override { return *left == *right; }

  void Advance(std::uint32_t milliseconds) { now_ += milliseconds; }
  // From now on each look at the time moves it by that much.
  void AdvanceWithEachLook(std::uint32_t milliseconds) { step_ = milliseconds; }
  // Blocks until the time was looked at `count` times more. One thread at a time.
  void AwaitLooks(int count);
  std::vector<std::uint32_t> Sleeps();

 private:
  std::atomic<Tick> now_{1000};
  std::atomic<std::uint32_t> step_{0};
  std::mutex lock_;  // guards the rest
  std::condition_variable looked_;
  std::int64_t looks_ = 0;
  std::vector<std::uint32_t> sleeps_;
};
