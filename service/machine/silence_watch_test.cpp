#include "service/machine/silence_watch.h"

#include <gtest/gtest.h>

#include "service/machine/thread_state.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;
using Finding = SilenceWatch::Finding;

// A watch with a limit of 3 s for hangs and 10 s for stalls, looked at every 250 ms.
struct Bench {
  SilenceWatch watch{3s, 10s};
  sdk::AwakeClock::Duration now{};
  int questions = 0;
  int looks = 0;

  // The first finding of `state` within `time` that ends the waiting.
  Finding Pass(sdk::AwakeClock::Duration time, char state) {
    for (const auto end = now + time; now < end;) {
      now += sdk::kAwakePace;
      const Finding finding = watch.Look(now, [&] {
        ++looks;
        return state;
      });
      if (finding == Finding::kAsk) ++questions;
      if (finding == Finding::kHung || finding == Finding::kStalled) return finding;
    }
    return Finding::kNone;
  }
};

TEST(SilenceWatch, OneThatIsHeardIsNeitherAskedNorLookedAt) {
  Bench bench;
  for (int i = 0; i < 1000; ++i) {
    bench.watch.Heard(bench.now += 200ms);
    EXPECT_EQ(bench.watch.Look(bench.now += 40ms, [] { return kInKernel; }), Finding::kNone);
  }
}

TEST(SilenceWatch, IsAskedOnceAndLookedAtOnlyWhenItOwesTheAnswer) {
  Bench bench;
  bench.Pass(250ms, kInKernel);
  EXPECT_EQ(bench.questions, 1);
  EXPECT_EQ(bench.looks, 0);
  bench.Pass(1s, kInKernel);
  EXPECT_EQ(bench.questions, 1);
  EXPECT_EQ(bench.looks, 4);
}

TEST(SilenceWatch, OneThatStaysInTheKernelIsHungAtItsLimit) {
  Bench bench;
  EXPECT_EQ(bench.Pass(1h, kInKernel), Finding::kHung);
  EXPECT_EQ(bench.now, 3s + sdk::kAwakePace);
}

TEST(SilenceWatch, OneThatIsStoppedOrStarvedIsNeverHung) {
  for (const char state : {'T', 't', 'R', 'S', kUnknown}) {
    Bench bench;
    EXPECT_EQ(bench.Pass(9s, state), Finding::kNone) << state;
    EXPECT_EQ(bench.Pass(1h, state), Finding::kStalled) << state;
    EXPECT_LT(bench.now, 11s);
  }
}

TEST(SilenceWatch, TheTimeOfAStopCountsForNoHang) {
  Bench bench;
  EXPECT_EQ(bench.Pass(2s, kInKernel), Finding::kNone);
  EXPECT_EQ(bench.Pass(9s, 'T'), Finding::kNone);
  EXPECT_EQ(bench.Pass(1s, kInKernel), Finding::kNone);
  EXPECT_EQ(bench.Pass(1s, kInKernel), Finding::kHung);
}

TEST(SilenceWatch, ASignOfLifeBeginsAnew) {
  Bench bench;
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(bench.Pass(2500ms, kInKernel), Finding::kNone);
    bench.watch.Heard(bench.now);
    EXPECT_EQ(bench.Pass(9s, 'T'), Finding::kNone);
    bench.watch.Heard(bench.now);
  }
  EXPECT_EQ(bench.questions, 20);
}

}  // namespace
}  // namespace orvan::machine
