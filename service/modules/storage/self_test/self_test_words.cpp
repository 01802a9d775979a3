#include "service/modules/storage/self_test/self_test_words.h"

#include <utility>

#include "service/modules/storage/words.h"

namespace orvan::storage::words {
namespace {

using sdk::Verdict;

std::string TimeText(std::chrono::seconds time) {
  const auto text = [](long long count, const char* unit) {
    return std::to_string(count) + ' ' + unit + (count == 1 ? "" : "s");
  };
  constexpr std::chrono::minutes kMinute{1};
  if (time < kMinute) return text(time.count(), "second");
  return text(std::chrono::ceil<std::chrono::minutes>(time).count(), "minute");
}

std::string TestText(SelfTestKind kind, const RememberedTest& test) {
  return std::string(NameOf(kind)) + " self-test: " + test.words + ", at " +
         std::to_string(test.powerOnHours) + " power-on hours";
}

Verdict Failure(SelfTestKind kind, const RememberedTest& test) {
  std::string text = std::string("the ") + NameOf(kind) + " self-test failed: " + test.words;
  std::string where;
  if (test.failingLba) {
    where = "LBA " + std::to_string(*test.failingLba);
    text += ", first at " + where;
  }
  return Verdict::Failed(SentenceKey(text), "the drive finds no fault in itself",
                         TestText(kind, test), std::move(where));
}

bool IsOver(const EndedSelfTest& ended) {
  return ended.test && ended.test->outcome != SelfTestOutcome::kRunning;
}

// What was done about it on the drive, as a sentence.
std::string EndedText(const EndedSelfTest& ended) {
  if (IsOver(ended)) {
    return ended.test->outcome == SelfTestOutcome::kAborted ? "it was ended on the drive"
                                                            : "it is over on the drive";
  }
  std::string text =
      "the drive's log does not show the end of the self-test, which may still be running";
  if (!ended.trouble.empty()) text += ": " + ended.trouble;
  return text;
}

std::string With(const std::string& message, const EndedSelfTest& ended) {
  return message + "._" + SentenceKey(EndedText(ended));
}

}  // namespace

std::string SelfTestOpening(SelfTestKind kind, std::optional<std::chrono::seconds> estimate) {
  return SentenceKey(std::string(NameOf(kind)) + " self-test started, the drive " +
                     (estimate ? "expects it to take " + TimeText(*estimate)
                               : std::string("does not say how long it takes")));
}

Verdict SelfTestRunsAlready(std::optional<int> percentDone) {
  std::string text = "a self-test that was not begun here runs on the drive already";
  if (percentDone) text += ", " + std::to_string(*percentDone) + " percent of it are done";
  return Verdict::Invalid(SentenceKey(text + "; none was started, and that one goes on"));
}

Verdict SelfTestVerdict(SelfTestKind kind, const RememberedTest& test,
                        const std::string& lastFailure) {
  Verdict verdict;
  switch (test.outcome) {
    case SelfTestOutcome::kPassed:
      verdict =
          lastFailure.empty()
              ? Verdict::Passed()
              : Verdict::Invalid(SentenceKey("the drive contradicts itself: its log says that "
                                             "the self-test completed, its status " +
                                             lastFailure));
      break;
    case SelfTestOutcome::kFailed:
      return Failure(kind, test);
    case SelfTestOutcome::kAborted:
      verdict = Verdict::Invalid("|SOMEBODY_ELSE_ABORTED_THE_SELF-TEST_ON_THE_DRIVE");
      break;
    case SelfTestOutcome::kBrokenOff:
      verdict =
          Verdict::Invalid(SentenceKey("the self-test did not come to its end: " + test.words));
      break;
    case SelfTestOutcome::kRunning:
    case SelfTestOutcome::kMeaningless:
      verdict =
          Verdict::Invalid(SentenceKey("what the self-test found is not known: " + test.words));
      break;
  }
  verdict.found = TestText(kind, test);
  return verdict;
}

Verdict SelfTestLeftNoTrace(const EndedSelfTest& ended) {
  if (ended.test) {
    return SelfTestGivenUp(Verdict::Invalid("|THE_DRIVE_DOES_NOT_TELL_THAT_ITS_SELF-TEST_RUNS"),
                           ended);
  }
  return Verdict::Invalid(
      "|THE_DRIVE_TOOK_THE_START_OF_A_SELF-TEST,_AND_ITS_LOG_HAS_NO_TRACE_OF_ONE");
}

Verdict SelfTestStopped(SelfTestKind kind, const EndedSelfTest& ended) {
  Verdict verdict = Verdict::Canceled();
  if (IsOver(ended)) {
    // What it found before the stop counts for who reads it.
    if (ended.test->outcome == SelfTestOutcome::kFailed) {
      verdict = Failure(kind, *ended.test);
      verdict.status = kTestCanceled;
    }
    verdict.found = TestText(kind, *ended.test);
    return verdict;
  }
  verdict.message = SentenceKey(EndedText(ended));
  return verdict;
}

Verdict SelfTestStandsStill(std::optional<int> percentDone, std::chrono::seconds estimate,
                            const EndedSelfTest& ended) {
  std::string text = "the self-test stands still";
  if (percentDone) text += " at " + std::to_string(*percentDone) + " percent";
  text += ", past twice the " + TimeText(estimate) + " that were expected";
  return Verdict::Warning(With(SentenceKey(text), ended));
}

Verdict SelfTestGivenUp(Verdict why, const EndedSelfTest& ended) {
  why.message = With(why.message, ended);
  return why;
}

}  // namespace orvan::storage::words
