#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_status.h"
#include "system/timer.h"

// Ids of the events of a run.
inline constexpr std::uint32_t kEventSuiteStart = 1;
inline constexpr std::uint32_t kEventDeviceStart = 2;
inline constexpr std::uint32_t kEventDiagnosticStart = 3;
inline constexpr std::uint32_t kEventTestStart = 4;
inline constexpr std::uint32_t kEventTestRunning = 5;
inline constexpr std::uint32_t kEventTestFinished = 6;
inline constexpr std::uint32_t kEventDiagnosticFinished = 7;
inline constexpr std::uint32_t kEventDeviceFinished = 8;
inline constexpr std::uint32_t kEventSuiteFinished = 9;

struct DiagnosticStartRecord {
  std::string name;
};

struct TestStartRecord {
  std::string name;
  DiagKey key;
};

struct TestFinishedRecord {
  TestStatus status = 0;
  Tick start = 0;
  Tick end = 0;
};

struct DeviceFinishedRecord {
  std::string text;  // as the service gave it
  Tick start = 0;
  Tick end = 0;
};

// One event of a run, from the service's threads to the main thread. The payload follows from the
// id; events that aren't named here have none.
struct CliEvent {
  std::uint32_t id = 0;
  std::variant<std::monostate, DiagnosticStartRecord, TestStartRecord, TestFinishedRecord,
               DeviceFinishedRecord>
      payload;
};
