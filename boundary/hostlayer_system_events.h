#pragma once

#include <cstdint>

// Called on a thread of the host layer, with a word that the handler fills with its answer. May
// be null. The system waits for the handler's return where it can be made to wait.
using HostSystemEventHandler = void (*)(std::intptr_t* result);

// Messages and parameters under which system events are delivered.
inline constexpr std::uint32_t kMessagePower = 536;
inline constexpr std::uint32_t kPowerSuspend = 4;
inline constexpr std::uint32_t kPowerResume = 6;
inline constexpr std::uint32_t kMessageSession = 689;
inline constexpr std::uint32_t kSessionConsoleGone = 2;
inline constexpr std::uint32_t kSessionLocked = 7;
inline constexpr std::uint32_t kMessageEndSession = 17;
inline constexpr std::uint32_t kEndSessionLogOff = 0x80000000U;
inline constexpr std::uint32_t kEndSessionShutdown = 0;

class HostSystemEvents {
 public:
  // Keeps one handler per pair of message and parameter; a second registration of a pair replaces
  // the first. Any thread.
  virtual void RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                               std::uint32_t parameter) = 0;

 protected:
  ~HostSystemEvents() = default;
};
