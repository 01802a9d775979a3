#include "frontend/system_event_handlers.h"

#include <array>
#include <cstdint>
#include <mutex>

#include "boundary/hostlayer_system_events.h"
#include "boundary/orvan_service.h"
#include "system/process_state.h"

namespace {

// Event bits, as the service knows them.
constexpr std::uint32_t kEventShutdown = 1;
constexpr std::uint32_t kEventLogOff = 8;
constexpr std::uint32_t kEventConsoleGone = 16;
constexpr std::uint32_t kEventPower = 32;
constexpr std::uint32_t kEventLocked = 128;
constexpr std::uint32_t kHeldEvents = kEventLogOff | kEventShutdown;
// The order in which the event word is replayed to a new service.
constexpr std::array<std::uint32_t, 6> kReplayMasks{kEventLogOff, kEventConsoleGone, kEventPower,
                                                    kEventLocked, kEventShutdown,    0x100};

// Runs on a host layer thread. The lock keeps the service from ending in the middle of the call.
template <std::uint32_t bit, std::intptr_t answer>
void OnSystemEvent(std::intptr_t* result) {
  ProcessState& state = GetProcessState();
  state.systemEventWord |= bit;
  {
    const std::lock_guard guard(state.serviceMutex);
    if (state.service != nullptr) state.service->NotifySystemEvent(bit);
  }
  if (result != nullptr) *result = answer;
  for (;;) {
    const std::uint32_t held = state.SystemEventHoldMask;
    if ((held & bit) == 0) return;
    state.SystemEventHoldMask.wait(held);
  }
}

struct EventRow {
  std::uint32_t message;
  std::uint32_t parameter;
  HostSystemEventHandler handler;
};

constexpr std::array kEventRows{
    EventRow{kMessagePower, kPowerSuspend, &OnSystemEvent<kEventPower, 1>},
    EventRow{kMessagePower, kPowerResume, &OnSystemEvent<kEventPower, 1>},
    EventRow{kMessageSession, kSessionConsoleGone, &OnSystemEvent<kEventConsoleGone, 1>},
    EventRow{kMessageEndSession, kEndSessionLogOff, &OnSystemEvent<kEventLogOff, 0>},
    EventRow{kMessageSession, kSessionLocked, &OnSystemEvent<kEventLocked, 1>},
    EventRow{kMessageEndSession, kEndSessionShutdown, &OnSystemEvent<kEventShutdown, 0>},
};

void SetHoldMask(std::uint32_t mask) {
  std::atomic<std::uint32_t>& word = GetProcessState().SystemEventHoldMask;
  word = mask;
  word.notify_all();
}

}  // namespace

void PublishService(OrvanService* service) {
  ProcessState& state = GetProcessState();
  {
    const std::lock_guard guard(state.serviceMutex);
    state.service = service;
    if (service != nullptr && state.abort.signalPassed) service->AbortExecution();
  }
  if (service == nullptr) return;
  const std::uint32_t word = state.systemEventWord;
  for (const std::uint32_t mask : kReplayMasks) service->NotifySystemEvent(word & mask);
}

bool OnSignal(int signal, std::uintptr_t first, std::uintptr_t second) {
  ProcessState& state = GetProcessState();
  const std::lock_guard guard(state.serviceMutex);
  if (!state.abort.signalPassed) {
    if (state.service != nullptr) state.service->AbortExecution(signal, first, second);
    state.abort.signalPassed = true;
  }
  return state.abort.signalPassed;
}

void RegisterSystemEventHandlers(HostSystemEvents* events) {
  ProcessState& state = GetProcessState();
  {
    const std::lock_guard guard(state.serviceMutex);
    if (state.service != nullptr) state.service->ClearSystemEvents();
  }
  state.systemEventWord = 0;
  if (events == nullptr) return;
  for (const EventRow& row : kEventRows) {
    events->RegisterHandler(row.handler, row.message, row.parameter);
  }
}

void HoldSystemEvents() {
  SetHoldMask(kHeldEvents);
}

void ReleaseSystemEvents() {
  SetHoldMask(0);
}
