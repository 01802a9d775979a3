#pragma once

#include <cstdint>
#include <string>

// One finished test, as the record store keeps it. All texts are UTF-8.
struct SystemExecutionRecord {
  std::string moduleName;  // also the class under which the record is stored
  std::string deviceUdi;   // unique device id
  std::string deviceDisplayName;
  std::string reserved;     // not stored
  std::int32_t status = 0;  // a TestStatus
  std::string testName;
  std::string startTimestamp;  // already formatted
  std::string duration;        // already formatted
};

// Keeps a record of each finished test where other software can read it. Any one thread.
class SystemExecutionTracker {
 public:
  virtual ~SystemExecutionTracker() = default;
  // Stores the record; one of a test that is not applicable is dropped. Failures stay untold.
  virtual void Track(const SystemExecutionRecord& record) = 0;
  // Erases all records. 0 on success.
  virtual int Remove() = 0;
};

// The tracker over the record store.
class WindowsSystemExecutionTracker : public SystemExecutionTracker {
 public:
  void Track(const SystemExecutionRecord& record) override;
  int Remove() override;
};
