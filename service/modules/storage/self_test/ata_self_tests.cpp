#include <utility>

#include "service/modules/storage/ata/identify.h"
#include "service/modules/storage/ata/log_directory.h"
#include "service/modules/storage/ata/self_test_log.h"
#include "service/modules/storage/ata/smart_data.h"
#include "service/modules/storage/drive/answer_kinds.h"
#include "service/modules/storage/health/drive_health.h"
#include "service/modules/storage/self_test/self_tests.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using R = DriveRequest;

constexpr std::uint32_t kLogPageBytes = 512;
// More pages than any drive has of this log.
constexpr std::uint16_t kMostPages = 64;
// Source: ATA8-ACS, SMART self-test log: 21 descriptors; ACS-4, the extended one: 19 a page.
constexpr std::size_t kPlaces = 21;
constexpr std::size_t kPlacesOfPage = 19;

SelfTestOutcome OutcomeOf(ata::SelfTestEnd end) {
  using End = ata::SelfTestEnd;
  if (ata::IsFailure(end)) return SelfTestOutcome::kFailed;
  switch (end) {
    case End::kCompleted:
      return SelfTestOutcome::kPassed;
    case End::kAborted:
      return SelfTestOutcome::kAborted;
    case End::kInterrupted:
      return SelfTestOutcome::kBrokenOff;
    case End::kRunning:
      return SelfTestOutcome::kRunning;
    default:
      return SelfTestOutcome::kMeaningless;
  }
}

RememberedTest Remembered(const ata::LoggedSelfTest& logged) {
  RememberedTest test;
  if (logged.number == 1) test.kind = SelfTestKind::kShort;
  if (logged.number == 2) test.kind = SelfTestKind::kExtended;
  test.outcome = OutcomeOf(logged.status.end);
  test.words = ata::WordsOf(logged.status.end);
  test.powerOnHours = logged.powerOnHours;
  test.failingLba = logged.failingLba;
  return test;
}

class AtaSelfTests final : public SelfTests {
 public:
  explicit AtaSelfTests(DriveLink& link) : link_(link) {}

  DriveAnswer Prepare(SelfTestKind kind) override {
    kind_ = kind;
    const auto identity = ata::DecodeIdentify(link_.Opening().data);
    if (!identity.value) return Told(Kind::kGarbage, "IDENTIFY DEVICE: " + identity.trouble);
    if (const auto why = WhyNoSmart(*identity.value)) return Told(why->kind, why->text);
    Reply<ata::SmartData> data = SmartData();
    if (!data.value) return std::move(data.answer);
    if (!identity.value->hasSelfTests && !data.value->hasSelfTests) {
      return Told(Kind::kNotSupported, "the drive has no self-tests");
    }
    const auto minutes =
        kind == SelfTestKind::kShort ? data.value->shortMinutes : data.value->extendedMinutes;
    if (minutes) estimate_ = std::chrono::minutes(*minutes);
    return identity.value->hasLogs ? FindLog() : Told(Kind::kDone, {});
  }

  std::optional<std::chrono::seconds> Estimate() const override {
    if (!estimate_ && kind_ == SelfTestKind::kShort) return kShortTestTime;
    return estimate_;
  }

  Reply<SelfTestState> State() override {
    Reply<ata::SmartData> data = SmartData();
    if (!data.value) return {{}, std::move(data.answer)};
    const ata::SelfTestStatus& status = data.value->selfTest;
    SelfTestState state;
    state.isRunning = status.end == ata::SelfTestEnd::kRunning;
    if (status.percentLeft) state.percentDone = 100 - *status.percentLeft;
    if (ata::IsFailure(status.end)) state.lastFailure = ata::WordsOf(status.end);
    return {std::move(state), std::move(data.answer)};
  }

  Reply<TestHistory> History() override {
    if (pages_ == 0) return HistoryOf(R::kAtaSelfTestLog, {}, kPlaces);
    return HistoryOf(R::kAtaExtSelfTestLog, {.bytes = pages_ * kLogPageBytes},
                     pages_ * kPlacesOfPage);
  }

  DriveAnswer Start() override {
    return link_.Send(kind_ == SelfTestKind::kShort ? R::kAtaShortSelfTest
                                                    : R::kAtaExtendedSelfTest);
  }
  DriveAnswer Abort() override { return link_.Send(R::kAtaAbortSelfTest); }

 private:
  Reply<ata::SmartData> SmartData() {
    DriveAnswer answer = link_.Send(R::kSmartData);
    if (!answer.IsDone()) return {{}, std::move(answer)};
    return ReplyOf(R::kSmartData, ata::DecodeSmartData(answer.data));
  }

  Reply<TestHistory> HistoryOf(DriveRequest request, const RequestDetails& details,
                               std::size_t places) {
    DriveAnswer answer = link_.Send(request, details);
    if (!answer.IsDone()) return {{}, std::move(answer)};
    Reply<ata::SelfTestLog> log = ReplyOf(
        request, request == R::kAtaSelfTestLog ? ata::DecodeSelfTestLog(answer.data)
                                               : ata::DecodeExtendedSelfTestLog(answer.data));
    if (!log.value) return {{}, std::move(log.answer)};
    TestHistory history;
    history.places = places;
    history.newestPlace = log.value->index;
    for (const ata::LoggedSelfTest& test : log.value->tests) {
      history.tests.push_back(Remembered(test));
    }
    return {std::move(history), std::move(log.answer)};
  }

  // The extended log knows all sectors of a large drive, the other one 28 bits of their number. A
  // drive that cannot bring it has the other.
  DriveAnswer FindLog() {
    const DriveAnswer answer = link_.Send(R::kAtaLogDirectory);
    if (answer.kind == Kind::kGone || answer.kind == Kind::kTimedOut ||
        answer.kind == Kind::kCanceled) {
      return answer;
    }
    const auto directory = ata::DecodeLogDirectory(answer.data);
    const std::uint16_t pages =
        directory.value ? directory.value->pages[ata::kExtendedSelfTestLog] : std::uint16_t{0};
    if (pages == 0 || pages > kMostPages) return Told(Kind::kDone, {});
    pages_ = pages;
    if (!History().value) pages_ = 0;
    return Told(Kind::kDone, {});
  }

  DriveLink& link_;
  SelfTestKind kind_ = SelfTestKind::kShort;
  std::optional<std::chrono::seconds> estimate_;
  std::uint16_t pages_ = 0;  // of the extended log; 0: the other one is read
};

}  // namespace

std::unique_ptr<SelfTests> MakeAtaSelfTests(DriveLink& link) {
  return std::make_unique<AtaSelfTests>(link);
}

}  // namespace orvan::storage
