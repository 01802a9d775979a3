#include <algorithm>
#include <utility>

#include "service/modules/storage/drive/answer_kinds.h"
#include "service/modules/storage/scsi/control_page.h"
#include "service/modules/storage/scsi/log_page.h"
#include "service/modules/storage/scsi/self_test_results.h"
#include "service/modules/storage/scsi/sense.h"
#include "service/modules/storage/self_test/self_tests.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using R = DriveRequest;

constexpr std::size_t kPlaces = 20;
// A header and 20 parameters of 20 bytes.
constexpr RequestDetails kResults{.page = scsi::kSelfTestResultsPage, .bytes = 404};
// LOGICAL UNIT NOT READY, SELF-TEST IN PROGRESS. Source: SPC-5, annex of additional sense codes.
constexpr scsi::AdditionalSense kInProgress{0x04, 0x09};
constexpr int kProgressUnit = 65536;

SelfTestOutcome OutcomeOf(scsi::SelfTestResult result) {
  using Result = scsi::SelfTestResult;
  switch (result) {
    case Result::kPassed:
      return SelfTestOutcome::kPassed;
    case Result::kAbortedByCommand:
      return SelfTestOutcome::kAborted;
    case Result::kAbortedOtherwise:
      return SelfTestOutcome::kBrokenOff;
    case Result::kNotCompleted:
    case Result::kFailedSomewhere:
    case Result::kFailedFirstSegment:
    case Result::kFailedSecondSegment:
    case Result::kFailedSegment:
      return SelfTestOutcome::kFailed;
    case Result::kInProgress:
      return SelfTestOutcome::kRunning;
  }
  return SelfTestOutcome::kMeaningless;
}

RememberedTest Remembered(const scsi::SelfTestEntry& entry) {
  RememberedTest test;
  if (entry.code == 1) test.kind = SelfTestKind::kShort;
  if (entry.code == 2) test.kind = SelfTestKind::kExtended;
  test.outcome = OutcomeOf(entry.result);
  test.words = scsi::ResultWords(entry.result);
  if (entry.result == scsi::SelfTestResult::kFailedSegment) {
    test.words += ", number " + std::to_string(entry.segment);
  }
  test.powerOnHours = entry.powerOnHours;
  if (test.outcome != SelfTestOutcome::kFailed) return test;
  if (entry.senseKey != 0) {
    scsi::Sense sense;
    sense.key = static_cast<scsi::SenseKey>(entry.senseKey);
    sense.additional = scsi::AdditionalSense{entry.senseCode, entry.senseQualifier};
    test.words += ", " + scsi::SenseText(sense);
  }
  test.failingLba = entry.failingLba;
  return test;
}

class ScsiSelfTests final : public SelfTests {
 public:
  explicit ScsiSelfTests(DriveLink& link) : link_(link) {}

  DriveAnswer Prepare(SelfTestKind kind) override {
    kind_ = kind;
    DriveAnswer answer = link_.Send(R::kScsiLogSense, {.page = scsi::kSupportedLogPages});
    if (!answer.IsDone()) return answer;
    const auto pages = ReplyOf(R::kScsiLogSense, scsi::DecodeSupportedLogPages(answer.data));
    if (!pages.value) return pages.answer;
    const scsi::LogPageName wanted{scsi::kSelfTestResultsPage, 0};
    if (std::find(pages.value->begin(), pages.value->end(), wanted) == pages.value->end()) {
      return Told(Kind::kNotSupported, "the drive keeps no results of self-tests");
    }
    if (kind == SelfTestKind::kShort) {
      estimate_ = kShortTestTime;
      return Told(Kind::kDone, {});
    }
    return FindEstimate();
  }

  std::optional<std::chrono::seconds> Estimate() const override { return estimate_; }

  // A drive may tell of a test in the background in its sense data, in its log, or in both.
  Reply<SelfTestState> State() override {
    DriveAnswer answer = link_.Send(R::kScsiRequestSense);
    if (!answer.IsDone()) return {{}, std::move(answer)};
    SelfTestState state;
    if (const auto sense = scsi::DecodeSense(answer.data).value) {
      state.isRunning = sense->additional == kInProgress;
      if (state.isRunning && sense->progress) {
        state.percentDone = 100 * *sense->progress / kProgressUnit;
      }
    }
    if (state.isRunning) return {std::move(state), Told(Kind::kDone, {})};
    Reply<TestHistory> history = History();
    if (!history.value) return {{}, std::move(history.answer)};
    state.isRunning = !history.value->tests.empty() &&
                      history.value->tests.front().outcome == SelfTestOutcome::kRunning;
    return {std::move(state), std::move(history.answer)};
  }

  Reply<TestHistory> History() override {
    DriveAnswer answer = link_.Send(R::kScsiLogSense, kResults);
    if (!answer.IsDone()) return {{}, std::move(answer)};
    auto entries = ReplyOf(R::kScsiLogSense, scsi::DecodeSelfTestResults(answer.data));
    if (!entries.value) return {{}, std::move(entries.answer)};
    TestHistory history;
    history.places = kPlaces;
    for (const scsi::SelfTestEntry& entry : *entries.value) {
      history.tests.push_back(Remembered(entry));
    }
    return {std::move(history), std::move(entries.answer)};
  }

  DriveAnswer Start() override {
    return link_.Send(kind_ == SelfTestKind::kShort ? R::kScsiShortSelfTest
                                                    : R::kScsiExtendedSelfTest);
  }
  DriveAnswer Abort() override { return link_.Send(R::kScsiAbortSelfTest); }

 private:
  // No drive needs the page, so one that has none is no trouble.
  DriveAnswer FindEstimate() {
    DriveAnswer answer = link_.Send(R::kScsiControlPage);
    if (answer.kind == Kind::kGone || answer.kind == Kind::kTimedOut ||
        answer.kind == Kind::kCanceled) {
      return answer;
    }
    if (const auto page = scsi::DecodeControlPage(answer.data).value) {
      estimate_ = page->extendedSelfTest;
    }
    return Told(Kind::kDone, {});
  }

  DriveLink& link_;
  SelfTestKind kind_ = SelfTestKind::kShort;
  std::optional<std::chrono::seconds> estimate_;
};

}  // namespace

std::unique_ptr<SelfTests> MakeScsiSelfTests(DriveLink& link) {
  return std::make_unique<ScsiSelfTests>(link);
}

}  // namespace orvan::storage
