#include "service/core/parameters.h"

#include <gtest/gtest.h>

namespace orvan::core {
namespace {

sdk::ParameterSpec Integer(std::uint64_t least, std::uint64_t greatest) {
  sdk::ParameterSpec spec;
  spec.name = "block_kib";
  spec.type = kParameterInteger;
  spec.least = least;
  spec.greatest = greatest;
  return spec;
}

sdk::ParameterSpec Of(std::int32_t type) {
  sdk::ParameterSpec spec;
  spec.name = "Mode";
  spec.type = type;
  return spec;
}

TestParameter Given(const std::string& name, const std::string& value,
                    std::int32_t type = kParameterInteger) {
  TestParameter parameter;
  parameter.name = name;
  parameter.value = value;
  parameter.type = type;
  return parameter;
}

std::string FaultOf(const sdk::ParameterSpec& spec, const std::string& value) {
  return CheckParameters({spec}, {Given(spec.name, value)}).fault;
}

TEST(ToTestParameters, CopiesEveryFieldAndStartsAtTheInitialValue) {
  sdk::ParameterSpec spec = Integer(1, 1024);
  spec.label = "BLOCKS";
  spec.detail = "HOW_MANY";
  spec.initialValue = "64";
  spec.extra = "KIB";
  const std::vector<TestParameter> records = ToTestParameters({spec});
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].name, "block_kib");
  EXPECT_EQ(records[0].label, "BLOCKS");
  EXPECT_EQ(records[0].detail, "HOW_MANY");
  EXPECT_EQ(records[0].initialValue, "64");
  EXPECT_EQ(records[0].value, "64");
  EXPECT_EQ(records[0].type, kParameterInteger);
  EXPECT_EQ(records[0].extra, "KIB");
  EXPECT_EQ(records[0].range[0], 1U);
  EXPECT_EQ(records[0].range[1], 1024U);
}

TEST(ToTestParameters, SaturatesRangesTo32Bits) {
  const auto records = ToTestParameters({Integer(0x1'0000'0000ULL, ~0ULL), Integer(7, 0xFFFFFFFE)});
  EXPECT_EQ(records[0].range[0], 0xFFFFFFFFU);
  EXPECT_EQ(records[0].range[1], 0xFFFFFFFFU);
  EXPECT_EQ(records[1].range[0], 7U);
  EXPECT_EQ(records[1].range[1], 0xFFFFFFFEU);
}

TEST(ToTestParameters, AnEmptyPresentValueStandsBesideTheInitialOne) {
  sdk::ParameterSpec spec = Integer(0, 0);
  spec.initialValue = "64";
  spec.value = "";
  EXPECT_EQ(ToTestParameters({spec})[0].value, "");
}

TEST(CheckParameters, TakesTheEndsOfTheRangeAndNothingBeyond) {
  EXPECT_EQ(FaultOf(Integer(4, 64), "4"), "");
  EXPECT_EQ(FaultOf(Integer(4, 64), "64"), "");
  const std::string fault = "THE_PARAMETER_BLOCK_KIB_MUST_BE_A_NUMBER_FROM_4_TO_64";
  EXPECT_EQ(FaultOf(Integer(4, 64), "3"), fault);
  EXPECT_EQ(FaultOf(Integer(4, 64), "65"), fault);
}

TEST(CheckParameters, ChecksAgainstTheWholeRangeOf64Bits) {
  const sdk::ParameterSpec wide = Integer(0, 0x2'0000'0000ULL);
  EXPECT_EQ(FaultOf(wide, "8589934592"), "");
  EXPECT_NE(FaultOf(wide, "8589934593"), "");
}

TEST(CheckParameters, AnIntegerIsDigitsOnly) {
  for (const char* text :
       {"", " 5", "5 ", "+5", "-1", "0x10", "5.0", "ten", "5\t", "18446744073709551616"}) {
    EXPECT_EQ(FaultOf(Integer(0, 0), text), "THE_PARAMETER_BLOCK_KIB_MUST_BE_A_NUMBER") << text;
  }
  EXPECT_EQ(FaultOf(Integer(0, 0), "18446744073709551615"), "");
}

TEST(CheckParameters, GivesTheValueInPlainDigitsUnderTheLowerCaseName) {
  const CheckedParameters checked = CheckParameters({Integer(1, 64)}, {Given("BLOCK_Kib", "0008")});
  EXPECT_EQ(checked.fault, "");
  EXPECT_EQ(checked.values, (sdk::ParameterValues{{"block_kib", "8"}}));
}

TEST(CheckParameters, OfANameGivenTwiceTheLastValueCounts) {
  const CheckedParameters checked =
      CheckParameters({Integer(1, 64)}, {Given("block_kib", "8"), Given("BLOCK_KIB", "9")});
  EXPECT_EQ(checked.values.at("block_kib"), "9");
}

TEST(CheckParameters, ABooleanBecomesTrueOrFalse) {
  for (const char* text : {"TRUE", "true", "True", "YES", "yes", "1"}) {
    EXPECT_EQ(CheckParameters({Of(kParameterBoolean)}, {Given("mode", text)}).values.at("mode"),
              "TRUE");
  }
  for (const char* text : {"FALSE", "false", "NO", "no", "0"}) {
    EXPECT_EQ(CheckParameters({Of(kParameterBoolean)}, {Given("mode", text)}).values.at("mode"),
              "FALSE");
  }
  for (const char* text : {"", "2", "Y", "ON", "TRUE "}) {
    EXPECT_EQ(FaultOf(Of(kParameterBoolean), text), "THE_PARAMETER_MODE_MUST_BE_YES_OR_NO");
  }
}

TEST(CheckParameters, ATextIsBoundedAndHoldsNoZeroByte) {
  EXPECT_EQ(FaultOf(Of(kParameterText), ""), "");
  EXPECT_EQ(FaultOf(Of(kParameterText), std::string(4096, 'x')), "");
  const std::string fault = "THE_PARAMETER_MODE_MUST_BE_A_SHORTER_TEXT";
  EXPECT_EQ(FaultOf(Of(kParameterText), std::string(4097, 'x')), fault);
  EXPECT_EQ(FaultOf(Of(kParameterText), std::string("a\0b", 3)), fault);
}

TEST(CheckParameters, NamesWhatTheTestDoesNotKnow) {
  const CheckedParameters checked =
      CheckParameters({Integer(1, 64)}, {Given("speed", "1", kParameterUnknown)});
  EXPECT_EQ(checked.fault, "THE_TEST_HAS_NO_PARAMETER_SPEED");
}

TEST(CheckParameters, MarksOfMessageKeysDoNotPassThroughAName) {
  const CheckedParameters checked =
      CheckParameters({}, {Given("a|b\n" + std::string(60, 'c'), "")});
  EXPECT_EQ(checked.fault, "THE_TEST_HAS_NO_PARAMETER_A?B?" + std::string(44, 'C'));
}

TEST(CheckParameters, NothingGivenIsNothingToCheck) {
  const CheckedParameters checked = CheckParameters({Integer(1, 64)}, {});
  EXPECT_TRUE(checked.values.empty());
  EXPECT_EQ(checked.fault, "");
}

}  // namespace
}  // namespace orvan::core
