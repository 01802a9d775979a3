#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "boundary/orvan_service_listeners.h"

// Keeps the last percent and the last message of a running test. The first four operations run on
// the service's threads, the others on the main thread.
class CliTestListener : public orvan_service::TestListenerView {
 public:
  CliTestListener() = default;
  virtual ~CliTestListener() = default;
  CliTestListener(const CliTestListener&) = delete;
  CliTestListener& operator=(const CliTestListener&) = delete;

  // Keeps the percent, and the message unless it is empty.
  void OnTestReport(DiagDevice* device, DiagDiagnostic* diagnostic, DiagTest* test,
                    std::int32_t percent, std::string message) override;
  // Answers 0; `record` may be null.
  void ClearReply(orvan_service::TestReply* record) override;
  // Always false: no test may wait for the operator through this listener.
  bool WantsInteraction() override;
  // -1 while nothing was reported.
  std::int32_t GetPercent() override;
  std::string GetMessage() override;
  void ClearMessage() override;

  void ResetPercent() { percent_ = -1; }

 private:
  std::atomic<std::int32_t> percent_{-1};
  std::mutex messageLock_;  // guards message_
  std::string message_;
};
