#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "boundary/orvan_service_status.h"
#include "service/log/log.h"
#include "service/sdk/device.h"

class SystemExecutionTracker;
namespace tarvex {
class RecordStoreReport;
}  // namespace tarvex

namespace orvan::core {

struct FinishedTest {
  std::string moduleName;
  std::string testName;
  TestStatus status = 0;
  std::int64_t startMs = 0;  // since the epoch
  std::chrono::duration<double> took{};
};

// Gives the record of a finished test to the tracker. No device, or one that throws: its fields
// stay empty. An exception of the device or of the tracker becomes a line of the log. Service
// thread.
void TrackFinishedTest(SystemExecutionTracker& tracker, const FinishedTest& test,
                       const sdk::Device* device, log::ServiceLog& log);

// Writes into the log what the store behind the tracker has to say; no store (null): nothing.
void LogStoreNotes(tarvex::RecordStoreReport* store, log::ServiceLog& log);

// A time as the records write it: local, ISO 8601 with milliseconds and the offset to UTC
// (2024-11-21T09:00:00.007+01:00).
std::string LocalTimeText(std::int64_t millisecondsSinceEpoch);
// A duration as the records write it: seconds, to the nearest millisecond ("12.345"), with a point
// in every locale.
std::string DurationText(std::chrono::duration<double> took);

}  // namespace orvan::core
