#include <utility>

#include "service/modules/storage/drive/answer_kinds.h"
#include "service/modules/storage/nvme/identify.h"
#include "service/modules/storage/nvme/self_test_log.h"
#include "service/modules/storage/nvme/status_words.h"
#include "service/modules/storage/self_test/self_tests.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using R = DriveRequest;

constexpr std::size_t kPlaces = 20;

SelfTestOutcome OutcomeOf(nvme::SelfTestResult result) {
  using Result = nvme::SelfTestResult;
  switch (result) {
    case Result::kPassed:
      return SelfTestOutcome::kPassed;
    case Result::kAbortedByCommand:
      return SelfTestOutcome::kAborted;
    case Result::kAbortedByReset:
    case Result::kAbortedByRemoval:
    case Result::kAbortedByFormat:
    case Result::kAbortedUnknown:
    case Result::kAbortedBySanitize:
      return SelfTestOutcome::kBrokenOff;
    case Result::kNotCompleted:
    case Result::kFailedSomewhere:
    case Result::kFailedSegment:
      return SelfTestOutcome::kFailed;
  }
  return SelfTestOutcome::kMeaningless;
}

RememberedTest Remembered(const nvme::SelfTestEntry& entry) {
  RememberedTest test;
  if (entry.code == nvme::kShortTest) test.kind = SelfTestKind::kShort;
  if (entry.code == nvme::kExtendedTest) test.kind = SelfTestKind::kExtended;
  test.outcome = OutcomeOf(entry.result);
  test.words = nvme::ResultWords(entry.result);
  if (entry.segment) test.words += ", number " + std::to_string(*entry.segment);
  if (entry.statusType && entry.statusCode) {
    test.words += ", " + nvme::StatusWords(*entry.statusType, *entry.statusCode);
  }
  test.powerOnHours = entry.powerOnHours;
  test.failingLba = entry.failingLba;
  return test;
}

class NvmeSelfTests final : public SelfTests {
 public:
  explicit NvmeSelfTests(DriveLink& link) : link_(link) {}

  DriveAnswer Prepare(SelfTestKind kind) override {
    kind_ = kind;
    DriveAnswer answer = link_.Send(R::kNvmeIdentifyController);
    if (!answer.IsDone()) return answer;
    Reply<nvme::Controller> controller =
        ReplyOf(R::kNvmeIdentifyController, nvme::DecodeController(answer.data));
    if (!controller.value) return std::move(controller.answer);
    if (!controller.value->hasSelfTest) {
      return Told(Kind::kNotSupported, "the drive has no self-tests");
    }
    if (kind == SelfTestKind::kShort) {
      estimate_ = kShortTestTime;
    } else if (const auto minutes = controller.value->extendedTestMinutes) {
      estimate_ = std::chrono::minutes(*minutes);
    }
    return Told(Kind::kDone, {});
  }

  std::optional<std::chrono::seconds> Estimate() const override { return estimate_; }

  Reply<SelfTestState> State() override {
    Reply<nvme::SelfTestLog> log = Log();
    if (!log.value) return {{}, std::move(log.answer)};
    SelfTestState state;
    state.isRunning = log.value->runningCode != 0;
    if (log.value->percentDone) state.percentDone = *log.value->percentDone;
    return {std::move(state), std::move(log.answer)};
  }

  Reply<TestHistory> History() override {
    Reply<nvme::SelfTestLog> log = Log();
    if (!log.value) return {{}, std::move(log.answer)};
    TestHistory history;
    history.places = kPlaces;
    for (const nvme::SelfTestEntry& entry : log.value->entries) {
      history.tests.push_back(Remembered(entry));
    }
    return {std::move(history), std::move(log.answer)};
  }

  DriveAnswer Start() override {
    return link_.Send(kind_ == SelfTestKind::kShort ? R::kNvmeShortSelfTest
                                                    : R::kNvmeExtendedSelfTest);
  }
  DriveAnswer Abort() override { return link_.Send(R::kNvmeAbortSelfTest); }

 private:
  Reply<nvme::SelfTestLog> Log() {
    DriveAnswer answer = link_.Send(R::kNvmeSelfTestLog);
    if (!answer.IsDone()) return {{}, std::move(answer)};
    return ReplyOf(R::kNvmeSelfTestLog, nvme::DecodeSelfTestLog(answer.data));
  }

  DriveLink& link_;
  SelfTestKind kind_ = SelfTestKind::kShort;
  std::optional<std::chrono::seconds> estimate_;
};

}  // namespace

std::unique_ptr<SelfTests> MakeNvmeSelfTests(DriveLink& link) {
  return std::make_unique<NvmeSelfTests>(link);
}

}  // namespace orvan::storage
