#include "service/modules/storage/self_test/self_test_watch.h"

#include <algorithm>
#include <utility>

namespace orvan::storage {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using Kind = DriveAnswer::Kind;

// How long a drive may take from the end of its test to the entry in its log.
constexpr seconds kSettling{15};
// For how long answers may be of no use: a drive that tests itself may be busy.
constexpr minutes kLongestSilence{2};
// Of an extended test whose drive does not say how long it takes. Half of what a slow disk reads.
constexpr std::uint64_t kBytesPerSecond = 32U << 20;
constexpr minutes kLeastExpected{1};
constexpr minutes kOverhead{10};

seconds Expected(const SelfTests& tests, std::optional<std::uint64_t> sizeBytes) {
  const std::optional<seconds> told = tests.Estimate();
  const seconds guessed =
      kOverhead + seconds(static_cast<std::int64_t>(sizeBytes.value_or(0) / kBytesPerSecond));
  return std::max<seconds>(told.value_or(guessed), kLeastExpected);
}

// A hundred looks at a test, and an answer soon after its end.
milliseconds PaceOf(seconds expected) {
  return std::clamp<milliseconds>(expected / 100, seconds(1), seconds(30));
}

}  // namespace

SelfTestWatch::SelfTestWatch(sdk::TestContext& context, sdk::Machine& machine, SelfTests& tests,
                             SelfTestKind kind, const TestHistory& before,
                             std::optional<std::uint64_t> sizeBytes)
    : context_(context),
      machine_(machine),
      tests_(tests),
      kind_(kind),
      before_(before),
      expected_(storage::Expected(tests, sizeBytes)),
      pace_(PaceOf(expected_)),
      clock_([&machine] { return machine.Now(); }) {}

SelfTestWatch::End SelfTestWatch::Wait() {
  for (;;) {
    if (context_.StopToken().stop_requested()) return End::kStopped;
    if (const std::optional<End> end = Look()) return *end;
    Rest();
  }
}

std::optional<SelfTestWatch::End> SelfTestWatch::Look() {
  const Reply<SelfTestState> state = tests_.State();
  now_ = clock_.Look();
  if (!state.value) return OnTrouble(state.answer);
  lastAnswer_ = now_;
  if (!state.value->isRunning) {
    lastFailure_ = state.value->lastFailure;
    return LookAtLog();
  }
  OnRunning(*state.value);
  return StandsStill() ? std::optional(End::kStandsStill) : std::nullopt;
}

// The drive says that no test runs: it is over, has not begun, or never does.
std::optional<SelfTestWatch::End> SelfTestWatch::LookAtLog() {
  const Reply<TestHistory> history = tests_.History();
  if (!history.value) return OnTrouble(history.answer);
  ours_ = TestStartedBetween(before_, *history.value, kind_, wasSeen_);
  if (ours_ && ours_->outcome != SelfTestOutcome::kRunning) return End::kOver;
  if (ours_) {
    idleSince_.reset();
    return StandsStill() ? std::optional(End::kStandsStill) : std::nullopt;
  }
  if (!idleSince_) idleSince_ = now_;
  return now_ - *idleSince_ < kSettling ? std::nullopt : std::optional(End::kNoTrace);
}

std::optional<SelfTestWatch::End> SelfTestWatch::OnTrouble(DriveAnswer answer) {
  const bool mayPass =
      answer.kind == Kind::kNotNow || answer.kind == Kind::kFailed || answer.kind == Kind::kGarbage;
  const bool isStop = answer.kind == Kind::kCanceled;
  trouble_ = std::move(answer);
  if (isStop) return End::kStopped;
  return mayPass && now_ - lastAnswer_ < kLongestSilence ? std::nullopt : std::optional(End::kLost);
}

void SelfTestWatch::OnRunning(const SelfTestState& state) {
  wasSeen_ = true;
  idleSince_.reset();
  // Only what goes beyond all that was told before is progress.
  if (!state.percentDone || *state.percentDone <= percentDone_.value_or(-1)) return;
  percentDone_ = std::min(*state.percentDone, 100);
  lastStep_ = now_;
  context_.Report(std::min(*percentDone_, 99));
}

bool SelfTestWatch::StandsStill() const {
  return now_ >= 2 * expected_ && now_ - lastStep_ >= expected_;
}

void SelfTestWatch::Rest() {
  const std::stop_token stop = context_.StopToken();
  const Duration end = now_ + pace_;
  while (now_ < end && !stop.stop_requested()) {
    machine_.Pause(sdk::kAwakePace, stop);
    now_ = clock_.Look();
  }
}

}  // namespace orvan::storage
