#include "views/cli_test_listener.h"

#include <utility>

void CliTestListener::OnTestReport(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                                   DiagTest* /*test*/, std::int32_t percent, std::string message) {
  percent_ = percent;
  if (!message.empty()) {
    const std::lock_guard lock(messageLock_);
    message_ = std::move(message);
  }
}

void CliTestListener::ClearReply(orvan_service::TestReply* record) {
  if (record != nullptr) record->reply = 0;
}

bool CliTestListener::WantsInteraction() {
  return false;
}

std::int32_t CliTestListener::GetPercent() {
  return percent_;
}

std::string CliTestListener::GetMessage() {
  const std::lock_guard lock(messageLock_);
  return message_;
}

void CliTestListener::ClearMessage() {
  const std::lock_guard lock(messageLock_);
  message_.clear();
}
