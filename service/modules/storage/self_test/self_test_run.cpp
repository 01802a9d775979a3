#include "service/modules/storage/self_test/self_test_run.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "service/modules/storage/deadline.h"
#include "service/modules/storage/disk.h"
#include "service/modules/storage/self_test/self_test_watch.h"
#include "service/modules/storage/self_test/self_test_words.h"
#include "service/modules/storage/self_test/self_tests.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;
using std::chrono::milliseconds;
using Kind = DriveAnswer::Kind;

// The operator who has stopped the test waits a second.
constexpr milliseconds kLastWords{600};
// How often, and in which pace, a log is looked at that should have the end of a test.
constexpr int kLooksForEnd = 20;
constexpr milliseconds kLookPace{100};

class SelfTestRun {
 public:
  SelfTestRun(sdk::TestContext& context, const DriveAccess& access, const DiskFacts& facts,
              SelfTestKind kind)
      : context_(context),
        machine_(*access.machine),
        stop_(context.StopToken()),
        link_(access, facts, stop_),
        tests_(SelfTestsOf(link_)),
        kind_(kind),
        size_(facts.sizeBytes) {}

  Verdict Run() {
    if (!link_.Opening().IsDone() || !tests_) return NoAnswer(link_.Opening());
    if (DriveAnswer ready = tests_->Prepare(kind_); !ready.IsDone()) return NoAnswer(ready);
    const Reply<SelfTestState> state = tests_->State();
    if (!state.value) return NoAnswer(state.answer);
    if (state.value->isRunning) return words::SelfTestRunsAlready(state.value->percentDone);
    Reply<TestHistory> history = tests_->History();
    if (!history.value) return NoAnswer(history.answer);
    before_ = *std::move(history.value);
    return Start();
  }

 private:
  Verdict NoAnswer(const DriveAnswer& answer) const {
    const Kind kind = answer.kind == Kind::kGarbage ? link_.KindOfNonsense() : answer.kind;
    return words::NoAnswerVerdict(kind, answer.reason);
  }

  Verdict Start() {
    const DriveAnswer answer = tests_->Start();
    switch (answer.kind) {
      case Kind::kDone:
        break;
      case Kind::kCanceled:  // it may have reached the drive
        return words::SelfTestStopped(kind_, EndOnDrive(false));
      case Kind::kGarbage:
        return words::SelfTestGivenUp(NoAnswer(answer), EndOnDrive(false));
      default:
        return WhyNotStarted(answer);
    }
    context_.Report(0, words::SelfTestOpening(kind_, tests_->Estimate()));
    SelfTestWatch watch(context_, machine_, *tests_, kind_, before_, size_);
    return VerdictOn(watch.Wait(), watch);
  }

  // Somebody may have begun one in the meantime.
  Verdict WhyNotStarted(const DriveAnswer& answer) {
    if (answer.kind != Kind::kNotNow) return NoAnswer(answer);
    const Reply<SelfTestState> state = tests_->State();
    const bool runs = state.value && state.value->isRunning;
    return runs ? words::SelfTestRunsAlready(state.value->percentDone) : NoAnswer(answer);
  }

  Verdict VerdictOn(SelfTestWatch::End end, const SelfTestWatch& watch) {
    using End = SelfTestWatch::End;
    switch (end) {
      case End::kOver:
        context_.Report(100);
        return words::SelfTestVerdict(kind_, *watch.Ours(), watch.LastFailure());
      case End::kNoTrace:
        return words::SelfTestLeftNoTrace(EndOnDrive(false));
      case End::kStopped:
        return words::SelfTestStopped(kind_, EndOnDrive(watch.WasSeen()));
      case End::kStandsStill:
        return words::SelfTestStandsStill(watch.PercentDone(), watch.Expected(),
                                          EndOnDrive(watch.WasSeen()));
      case End::kLost:
        break;
    }
    // Nothing reaches a drive any more that has left or hangs.
    const DriveAnswer& why = watch.Trouble();
    if (why.kind == Kind::kGone) return NoAnswer(why);
    return words::SelfTestGivenUp(NoAnswer(why), EndOnDrive(watch.WasSeen()));
  }

  // Ends our test on the drive, and looks in its log whether it did. After a stop that takes no
  // longer than the operator waits.
  words::EndedSelfTest EndOnDrive(bool wasSeen) {
    if (!stop_.stop_requested()) {
      link_.ObeyInstead(stop_);
      words::EndedSelfTest ended = TryToEnd(wasSeen, stop_);
      if (!stop_.stop_requested()) return ended;
    }
    const Deadline deadline(kLastWords);
    link_.ObeyInstead(deadline.Token());
    return TryToEnd(wasSeen, deadline.Token());
  }

  words::EndedSelfTest TryToEnd(bool wasSeen, const std::stop_token& until) {
    words::EndedSelfTest ended;
    const DriveAnswer answer = tests_->Abort();
    ended.trouble = answer.reason;
    if (answer.kind == Kind::kTimedOut || answer.kind == Kind::kGone) return ended;
    for (int look = 0; look < kLooksForEnd; ++look) {
      const Reply<TestHistory> history = tests_->History();
      if (history.value) {
        ended.test = TestStartedBetween(before_, *history.value, kind_, wasSeen);
      } else if (ended.trouble.empty()) {
        ended.trouble = history.answer.reason;
      }
      if (ended.test && ended.test->outcome != SelfTestOutcome::kRunning) break;
      if (until.stop_requested()) break;
      machine_.Pause(kLookPace, until);
    }
    return ended;
  }

  sdk::TestContext& context_;
  sdk::Machine& machine_;
  const std::stop_token stop_;
  DriveLink link_;
  const std::unique_ptr<SelfTests> tests_;
  const SelfTestKind kind_;
  const std::optional<std::uint64_t> size_;
  TestHistory before_;
};

}  // namespace

Verdict RunSelfTest(sdk::TestContext& context, const DriveAccess& access, SelfTestKind kind) {
  const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
  if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
  return SelfTestRun(context, access, disk->Facts(), kind).Run();
}

}  // namespace orvan::storage
