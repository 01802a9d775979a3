#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "service/modules/storage/drive/drive_link.h"
#include "service/modules/storage/self_test/self_test_history.h"

namespace orvan::storage {

// What a drive was asked for, or why it is not there: `answer` is kDone with a value alone.
template <typename T>
struct Reply {
  std::optional<T> value;
  DriveAnswer answer;
};

// What a drive does at the moment.
struct SelfTestState {
  bool isRunning = false;
  std::optional<int> percentDone;  // 0 to 100; none: it does not tell, or it makes no sense
  std::string lastFailure;  // how the last one failed; empty: it did not, or the drive is silent
};

// The self-tests of one drive, in the language that it speaks. Each call but the first sends one
// command or two. One thread.
class SelfTests {
 public:
  virtual ~SelfTests() = default;
  // Finds out whether the drive has self-tests and a log of them: kDone, or why not. Comes first.
  virtual DriveAnswer Prepare(SelfTestKind kind) = 0;
  // How long the drive expects the test to take; none: it does not say.
  virtual std::optional<std::chrono::seconds> Estimate() const = 0;
  virtual Reply<SelfTestState> State() = 0;
  virtual Reply<TestHistory> History() = 0;
  // In the background: the drive does what else it is asked for meanwhile.
  virtual DriveAnswer Start() = 0;
  virtual DriveAnswer Abort() = 0;
};

// Null when the drive cannot be spoken to. The link must be there as long.
std::unique_ptr<SelfTests> SelfTestsOf(DriveLink& link);
std::unique_ptr<SelfTests> MakeAtaSelfTests(DriveLink& link);
std::unique_ptr<SelfTests> MakeScsiSelfTests(DriveLink& link);
std::unique_ptr<SelfTests> MakeNvmeSelfTests(DriveLink& link);

// What a decoder made of a drive's answer to that request: distrusted data is garbage.
template <typename T>
Reply<T> ReplyOf(DriveRequest request, Decoded<T> decoded) {
  Reply<T> reply;
  if (decoded.value) {
    reply.answer.kind = DriveAnswer::Kind::kDone;
    reply.value = std::move(decoded.value);
  } else {
    reply.answer.kind = DriveAnswer::Kind::kGarbage;
    reply.answer.reason = std::string(RowOf(request).name) + ": " + decoded.trouble;
  }
  return reply;
}

// The standards leave a short test two minutes.
inline constexpr std::chrono::seconds kShortTestTime{120};

}  // namespace orvan::storage
