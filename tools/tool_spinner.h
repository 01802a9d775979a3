#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "boundary/hostlayer_thread.h"
#include "system/win_timer.h"

// The thread that shows a tool's search for devices, every quarter of a second. Owned and used by
// the main thread.
class ToolSpinner {
 public:
  // Starts the thread, which calls `viewStart` once and `showScanning` at its pace, by that timer,
  // while a Scan lives. Where no thread can be had, the search goes on without a sign.
  ToolSpinner(std::function<void()> viewStart, std::function<void()> showScanning,
              Timer& timer = WinTimer::Instance());
  // Ends the thread, however the search ended.
  ~ToolSpinner();
  ToolSpinner(const ToolSpinner&) = delete;
  ToolSpinner& operator=(const ToolSpinner&) = delete;

  // The time in which the thread may draw. The view is the spinner's meanwhile, and the caller's
  // again as soon as it ends.
  class Scan {
   public:
    explicit Scan(ToolSpinner& spinner) : spinner_(spinner) { spinner_.SetScanning(true); }
    ~Scan() { spinner_.SetScanning(false); }
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;

   private:
    ToolSpinner& spinner_;
  };

 private:
  static std::uintptr_t ThreadMain(void* self);
  void Spin();
  void SetScanning(bool value);

  std::function<void()> viewStart_;
  std::function<void()> showScanning_;  // called under lock_
  Timer& timer_;
  std::mutex lock_;  // guards spinnerOn and scanning
  std::condition_variable changed_;
  bool spinnerOn = true;
  bool scanning = false;
  HostThreadHandle thread_ = nullptr;
};
