#include "tools/tool_spinner.h"

#include <utility>

#include "boundary/hostlayer.h"
#include "tools/tool_cadence.h"

ToolSpinner::ToolSpinner(std::function<void()> viewStart, std::function<void()> showScanning,
                         Timer& timer)
    : viewStart_(std::move(viewStart)), showScanning_(std::move(showScanning)), timer_(timer) {
  HostThread* threads = get_thread();
  if (threads->Start(&thread_, 0, &ToolSpinner::ThreadMain, this, "ToolSpinner") == 0) {
    threads->AfterStart(thread_, 0);
  }
}

ToolSpinner::~ToolSpinner() {
  {
    const std::lock_guard guard(lock_);
    spinnerOn = false;
    changed_.notify_all();
  }
  get_thread()->Join(thread_);
}

void ToolSpinner::SetScanning(bool value) {
  const std::lock_guard guard(lock_);
  scanning = value;
}

std::uintptr_t ToolSpinner::ThreadMain(void* self) {
  static_cast<ToolSpinner*>(self)->Spin();
  return 0;
}

void ToolSpinner::Spin() {
  viewStart_();
  tarvex::ToolPace pace(timer_);
  std::unique_lock guard(lock_);
  while (!changed_.wait_for(guard, pace.Left(), [this] { return !spinnerOn; })) {
    if (pace.Left().count() > 0) continue;
    pace.Restart();
    if (scanning) showScanning_();
  }
}
