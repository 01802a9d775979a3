#pragma once

#include "system/timer.h"

// The timer over the monotonic clock of this system.
class WinTimer : public Timer {
 public:
  // The process-wide timer, made on first use.
  static WinTimer& Instance();

  void Sleep(std::uint32_t milliseconds) override;
  double SecondsBetween(Tick start, Tick end) override;
  Tick Now() override;
  void ClearTick(Tick* tick) override;
  bool IsClear(const Tick* tick) override;
  bool TicksEqual(const Tick* left, const Tick* right) override;
};
