#pragma once

#include "system/win_timer.h"

// What the main thread keeps of a run while it applies its events. Main thread.
struct ToolEventContext {
  // Begins the time of a device; from here on progress is shown.
  void StartDevice() {
    deviceStart = timer->Now();
    deviceActive = true;
  }
  // Whole seconds since the latest start of a device, cut.
  double DeviceSeconds() const;

  Timer* timer = &WinTimer::Instance();
  Tick deviceStart = 0;
  bool deviceActive = false;
};

// One report of a running tool, on its way from the service's threads to the main thread.
class ToolEvent {
 public:
  ToolEvent() = default;
  virtual ~ToolEvent() = default;
  ToolEvent(const ToolEvent&) = delete;
  ToolEvent& operator=(const ToolEvent&) = delete;

  // Shows what happened. The context is the one of this event's tool. Main thread.
  virtual void apply(ToolEventContext& context) = 0;
  // True when applying it does no more than to keep a percentage for the next line that is drawn.
  // Of such events in a row only the last matters, and the queue keeps no other.
  virtual bool IsProgress() const { return false; }
};

// The context and the events of the tool that has this view, which no other tool's ever meet.
template <class View>
struct ToolViewContext : ToolEventContext {
  View* view = nullptr;  // not owned
};
template <class View>
class ToolViewEvent : public ToolEvent {
 protected:
  static View& ViewOf(ToolEventContext& context) {
    return *static_cast<ToolViewContext<View>&>(context).view;
  }
};
