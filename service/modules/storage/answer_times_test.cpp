#include "service/modules/storage/answer_times.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using Duration = OwnTimes::Duration;

struct Read {
  std::uint64_t id;
  Duration begun;
  Duration ended;
};

std::vector<Duration> TimesOf(const std::vector<Read>& answers) {
  OwnTimes times;
  std::vector<Duration> own;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    std::uint64_t oldest = answers[i].id;
    for (std::size_t j = i; j < answers.size(); ++j) oldest = std::min(oldest, answers[j].id);
    own.push_back(times.OnAnswer(answers[i].id, answers[i].begun, answers[i].ended, oldest));
  }
  return own;
}

TEST(OwnTimes, OfADiskThatServesOneAfterTheOtherOnlyTheSlowReadIsSlow) {
  EXPECT_EQ(TimesOf({{0, 0s, 1s}, {1, 0s, 28s}, {2, 0s, 29s}, {3, 0s, 30s}, {4, 1s, 31s}}),
            (std::vector<Duration>{1s, 27s, 1s, 1s, 1s}));
}

TEST(OwnTimes, AReadThatIsOvertakenKeepsItsWholeTime) {
  EXPECT_EQ(TimesOf({{0, 0s, 1s}, {2, 0s, 1s}, {3, 1s, 2s}, {4, 2s, 3s}, {1, 0s, 27s}}),
            (std::vector<Duration>{1s, 0s, 1s, 1s, 26s}));
}

TEST(OwnTimes, WhatWaitsBehindAReadThatWasOvertakenIsNotSlow) {
  // Read 4 was given to the disk while 1 was stuck, and came right after it.
  EXPECT_EQ(TimesOf({{0, 0s, 0s}, {2, 0s, 1s}, {1, 0s, 27s}, {4, 2s, 28s}, {3, 1s, 28s}}),
            (std::vector<Duration>{0s, 1s, 27s, 1s, 1s}));
}

TEST(OwnTimes, OfReadsOneByOneIsTheTimeAtTheDisk) {
  EXPECT_EQ(TimesOf({{0, 1s, 3s}, {1, 10s, 37s}, {2, 40s, 41s}}),
            (std::vector<Duration>{2s, 27s, 1s}));
}

TEST(OwnTimes, OfHoweverManyReadsFewAreRemembered) {
  OwnTimes times;
  for (std::uint64_t id = 0; id < 1000; ++id) {
    // Of two neighbours the second comes first.
    times.OnAnswer(id ^ 1, 0s, std::chrono::seconds(id), id & ~std::uint64_t{1});
    ASSERT_LE(times.Remembered(), 2U) << id;
  }
}

// The same by looking at every earlier answer.
TEST(OwnTimes, IsWhatThePlainRuleGives) {
  std::mt19937 random(3);
  for (int run = 0; run < 200; ++run) {
    std::vector<Read> answers;
    for (std::uint64_t id = 0; id < 40; ++id) {
      const Duration begun = std::chrono::milliseconds(id * 10);
      answers.push_back({id, begun, begun + std::chrono::milliseconds(random() % 200)});
    }
    std::stable_sort(answers.begin(), answers.end(),
                     [](const Read& a, const Read& b) { return a.ended < b.ended; });
    std::vector<Duration> expected;
    for (std::size_t i = 0; i < answers.size(); ++i) {
      Duration from = answers[i].begun;
      for (std::size_t j = 0; j < i; ++j) {
        if (answers[j].id < answers[i].id) from = std::max(from, answers[j].ended);
      }
      expected.push_back(answers[i].ended - from);
    }
    ASSERT_EQ(TimesOf(answers), expected);
  }
}

}  // namespace
}  // namespace orvan::storage
