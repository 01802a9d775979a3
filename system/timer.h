#pragma once

#include <cstdint>

// Milliseconds of the system's tick counter, modulo 2^32.
using Tick = std::uint32_t;

// Sleeps and elapsed-time arithmetic. Stateless; any thread.
class Timer {
 public:
  virtual ~Timer() = default;
  // Blocks for that long; 0 gives up the time slice.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
  // (end - start) modulo 2^32, in seconds; right across the counter's wrap.
  virtual double SecondsBetween(Tick start, Tick end) = 0;
  virtual Tick Now() = 0;
  virtual void ClearTick(Tick* tick) = 0;
  virtual bool IsClear(const Tick* tick) = 0;
  virtual bool TicksEqual(const Tick* left, const Tick* right) = 0;
};
