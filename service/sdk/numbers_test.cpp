#include "service/sdk/numbers.h"

#include <gtest/gtest.h>

#include "service/sdk/module_test_support.h"

namespace orvan::sdk {
namespace {

using testing::RememberingContext;

struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};
struct Sample : Range {
  std::uint64_t blocks = 0;
};

constexpr Number kFirst{"first", "FIRST", "|FIRST_BLOCK", 0, 99, &Range::first};
constexpr Number kLast{"last", "LAST", "|LAST_BLOCK", 10, 99, &Range::last};
constexpr Number kBlocks{"blocks", "BLOCKS", "|HOW_MANY", 1, 8, &Sample::blocks};
constexpr auto kNumbers = NumbersOf<Sample>(kBlocks, kFirst, kLast);

constexpr Sample kDefaults{{3, 20}, 4};

// What work with those defaults reads, and its verdict.
struct Reading {
  explicit Reading(const ParameterValues& given, const Sample& defaults = kDefaults) {
    RememberingContext context(nullptr, given);
    verdict = WorkOf(kNumbers, defaults, [this](TestContext&, const Sample& values) {
                read = values;
                return Verdict::Passed();
              }).run(context);
  }
  std::optional<Sample> read;
  Verdict verdict;
};

TEST(Numbers, AreListedInTheOrderOfTheirRowsWithRangeAndDefault) {
  const TestWork work =
      WorkOf(kNumbers, kDefaults, [](TestContext&, const Sample&) { return Verdict::Passed(); });
  ASSERT_EQ(work.parameters.size(), 3U);
  const ParameterSpec& blocks = work.parameters[0];
  EXPECT_EQ(blocks.name, "blocks");
  EXPECT_EQ(blocks.label, "BLOCKS");
  EXPECT_EQ(blocks.detail, "|HOW_MANY");
  EXPECT_EQ(blocks.initialValue, "4");
  EXPECT_EQ(blocks.type, kParameterInteger);
  EXPECT_EQ(blocks.extra, "1-8");
  EXPECT_EQ(blocks.least, 1U);
  EXPECT_EQ(blocks.greatest, 8U);
  EXPECT_FALSE(blocks.value.has_value());
  EXPECT_EQ(work.parameters[1].name, "first");
  EXPECT_EQ(work.parameters[1].initialValue, "3");
  EXPECT_EQ(work.parameters[2].name, "last");
  EXPECT_EQ(work.parameters[2].initialValue, "20");
}

TEST(Numbers, EachValueIsReadIntoTheFieldOfItsRow) {
  const Reading all(ParameterValues{{"first", "5"}, {"last", "99"}, {"blocks", "1"}});
  ASSERT_TRUE(all.read.has_value());
  EXPECT_EQ(all.read->first, 5U);
  EXPECT_EQ(all.read->last, 99U);
  EXPECT_EQ(all.read->blocks, 1U);
}

TEST(Numbers, WhatIsNotGivenIsTheDefault) {
  const Reading one(ParameterValues{{"last", "10"}});
  ASSERT_TRUE(one.read.has_value());
  EXPECT_EQ(one.read->first, 3U);
  EXPECT_EQ(one.read->last, 10U);
  EXPECT_EQ(one.read->blocks, 4U);
}

TEST(Numbers, AValueThatIsNoneOrOutsideItsRangeIsInvalidAndNamed) {
  for (const char* wrong : {"", "-1", "+1", " 1", "1 ", "x", "0", "9", "18446744073709551616"}) {
    const Reading reading(ParameterValues{{"blocks", wrong}});
    EXPECT_FALSE(reading.read.has_value()) << wrong;
    EXPECT_EQ(reading.verdict.status, kTestInvalid) << wrong;
    EXPECT_EQ(reading.verdict.message, "|INVALID_VALUE_OF_PARAMETER_blocks") << wrong;
  }
}

TEST(Numbers, ADefaultOutsideItsRangeIsInvalidAndNamedUnlessAnotherValueIsGiven) {
  for (const std::uint64_t wrong : {0U, 9U}) {
    const Reading reading({}, Sample{{3, 20}, wrong});
    EXPECT_FALSE(reading.read.has_value()) << wrong;
    EXPECT_EQ(reading.verdict.status, kTestInvalid) << wrong;
    EXPECT_EQ(reading.verdict.message, "|INVALID_VALUE_OF_PARAMETER_blocks") << wrong;
    const Reading other({{"blocks", "8"}}, Sample{{3, 20}, wrong});
    EXPECT_EQ(other.verdict.status, kTestPassed) << wrong;
  }
}

struct Choice {
  std::uint64_t first = 0;
  std::uint64_t sure = 0;
};

Verdict ChoiceOf(const ParameterValues& given, Choice& read) {
  constexpr auto kRows =
      NumbersOf<Choice>(Number{"first", "FIRST", "|FIRST_BLOCK", 0, 99, &Choice::first},
                        Switch("sure", "SURE", "|REALLY", &Choice::sure));
  RememberingContext context(nullptr, given);
  return WorkOf(kRows, Choice{},
                [&read](TestContext&, const Choice& values) {
                  read = values;
                  return Verdict::Passed();
                })
      .run(context);
}

TEST(Numbers, ASwitchIsListedAsABooleanAndReadAsOneOrZero) {
  const ParameterSpec spec = SpecOf(Switch("sure", "SURE", "|REALLY", &Choice::sure), 0);
  EXPECT_EQ(spec.type, kParameterBoolean);
  EXPECT_EQ(spec.initialValue, "no");
  EXPECT_EQ(spec.extra, "yes or no");
  EXPECT_EQ(spec.least, 0U);
  EXPECT_EQ(spec.greatest, 0U);
  EXPECT_EQ(SpecOf(Switch("sure", "SURE", "|REALLY", &Choice::sure), 1).initialValue, "yes");
  Choice read{0, 7};
  EXPECT_EQ(ChoiceOf({}, read).status, kTestPassed);
  EXPECT_EQ(read.sure, 0U);
  EXPECT_EQ(ChoiceOf({{"sure", "TRUE"}, {"first", "9"}}, read).status, kTestPassed);
  EXPECT_EQ(read.sure, 1U);
  EXPECT_EQ(read.first, 9U);
  EXPECT_EQ(ChoiceOf({{"sure", "FALSE"}}, read).status, kTestPassed);
  EXPECT_EQ(read.sure, 0U);
}

TEST(Numbers, NothingElseTurnsASwitchOn) {
  for (const char* wrong : {"", "1", "0", "yes", "true", "TRUE "}) {
    Choice read{0, 7};
    const Verdict verdict = ChoiceOf({{"sure", wrong}}, read);
    EXPECT_EQ(verdict.message, "|INVALID_VALUE_OF_PARAMETER_sure") << wrong;
    EXPECT_EQ(read.sure, 7U) << wrong;
  }
}

TEST(RememberingContext, FindsTheOneMeasurementOfAName) {
  RememberingContext context(nullptr);
  context.Measure({"offset", -0.5, "s"});
  context.Measure({"twice", 1, ""});
  context.Measure({"twice", 2, ""});
  EXPECT_EQ(context.Measured("offset").value, -0.5);
  EXPECT_THROW(context.Measured("twice"), std::out_of_range);
  EXPECT_THROW(context.Measured("none"), std::out_of_range);
}

TEST(Numbers, ATestMayHaveNone) {
  struct None {};
  const TestWork work = WorkOf(NumbersOf<None>(), None{},
                               [](TestContext&, const None&) { return Verdict::Passed(); });
  EXPECT_TRUE(work.parameters.empty());
}

}  // namespace
}  // namespace orvan::sdk
