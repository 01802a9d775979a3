#include "service/modules/storage/tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "service/modules/storage/read_test_support.h"

namespace orvan::storage {
namespace {

using sdk::testing::FindTest;

TEST(Tables, QuickSamplesAndExtendedReadsAll) {
  const auto diagnostics = MakeDiagnostics({});
  ASSERT_EQ(diagnostics.size(), 2U);
  EXPECT_EQ(diagnostics[0].name, "QUICK_TEST");
  EXPECT_EQ(diagnostics[0].option, "Q");
  EXPECT_EQ(diagnostics[0].key.minor, kDiagnosticKindQuick);
  EXPECT_EQ(diagnostics[1].name, "EXTENDED_TEST");
  EXPECT_EQ(diagnostics[1].option, "E");
  EXPECT_EQ(diagnostics[1].key.minor, kDiagnosticKindExtended);
  EXPECT_EQ(diagnostics[0].key.major, 5U);
  EXPECT_EQ(diagnostics[1].key.major, 5U);
  const std::vector<NamedTest> all = AllReadTests();
  const auto has = [&all](const NamedTest& test) {
    return std::find(all.begin(), all.end(), test) != all.end();
  };
  EXPECT_TRUE(has({"Q", "f"}) && has({"Q", "r"}));
  EXPECT_TRUE(has({"E", "f"}) && has({"E", "r"}) && has({"E", "l"}));
  EXPECT_FALSE(has({"Q", "l"}));
}

TEST(Tables, AskTheDriveBeforeItsSurfaceIsRead) {
  const auto diagnostics = MakeDiagnostics({});
  EXPECT_EQ(diagnostics[0].tests.at(0).option, "s");
  EXPECT_EQ(diagnostics[0].tests.at(1).option, "e");
  EXPECT_EQ(diagnostics[1].tests.at(0).option, "s");
  for (const NamedTest& test : {NamedTest{"Q", "s"}, {"Q", "e"}, {"E", "s"}}) {
    EXPECT_TRUE(FindTest(diagnostics, test.first, test.second).parameters.empty());
    EXPECT_FALSE(FindTest(diagnostics, test.first, test.second).mayWrite);
  }
}

TEST(Tables, OneIdentifierBelongsToOneTest) {
  std::map<std::string, std::set<std::uint64_t>> identifiers;
  std::map<std::uint64_t, std::set<std::string>> names;
  for (const auto& diagnostic : MakeDiagnostics({})) {
    for (const auto& test : diagnostic.tests) {
      identifiers[test.name].insert(test.key.identifier);
      names[test.key.identifier].insert(test.name);
    }
  }
  EXPECT_GE(names.size(), 3U);
  for (const auto& [name, values] : identifiers) EXPECT_EQ(values.size(), 1U) << name;
  for (const auto& [identifier, values] : names) EXPECT_EQ(values.size(), 1U) << identifier;
}

TEST(Tables, EveryParameterHasALabelARangeAndADefaultInIt) {
  for (const auto& diagnostic : MakeDiagnostics({})) {
    for (const auto& test : diagnostic.tests) {
      std::set<std::string> names;
      for (const auto& parameter : test.parameters) {
        EXPECT_TRUE(names.insert(parameter.name).second);
        EXPECT_FALSE(parameter.label.empty());
        // Columns are filled up by the stored name, so a bar would shift what follows.
        EXPECT_EQ(parameter.label.find('|'), std::string::npos) << parameter.label;
        if (parameter.type == kParameterBoolean) {
          EXPECT_EQ(parameter.initialValue, "no");
          continue;
        }
        EXPECT_EQ(parameter.type, kParameterInteger);
        const std::uint64_t value = std::stoull(parameter.initialValue);
        EXPECT_GE(value, parameter.least) << parameter.name;
        EXPECT_LE(value, parameter.greatest) << parameter.name;
        EXPECT_EQ(parameter.extra,
                  std::to_string(parameter.least) + '-' + std::to_string(parameter.greatest));
      }
      if (names.empty()) continue;
      for (const char* name : {"block_kib", "seconds", "first_lba", "last_lba"}) {
        EXPECT_TRUE(names.contains(name)) << test.name;
      }
    }
  }
}

TEST(Tables, OnlyASampleHasANumberOfBlocks) {
  const auto diagnostics = MakeDiagnostics({});
  for (const auto& [option, isSample] : {std::pair{"f", true}, {"r", true}, {"l", false}}) {
    const auto& parameters = FindTest(diagnostics, "E", option).parameters;
    const bool has = std::any_of(parameters.begin(), parameters.end(),
                                 [](const auto& parameter) { return parameter.name == "blocks"; });
    EXPECT_EQ(has, isSample) << option;
  }
}

TEST(Tables, OnlyTheWriteTestAndSelfTestsMayWriteAndThatOnlyWithAnOperator) {
  for (const auto& diagnostic : MakeDiagnostics({})) {
    for (const auto& test : diagnostic.tests) {
      const bool isWrite = diagnostic.option == "E" && test.option == "w";
      const bool isSelfTest = test.option == "t" || test.option == "x";
      EXPECT_EQ(test.mayWrite, isWrite || isSelfTest) << diagnostic.option << test.option;
      EXPECT_EQ(test.needsOperator, isWrite) << diagnostic.option << test.option;
    }
  }
  EXPECT_TRUE(FindTest(MakeDiagnostics({}), "E", "w").mayWrite);
}

TEST(Tables, SelfTestsMayChangeTheDriveAndNeedNobody) {
  const auto diagnostics = MakeDiagnostics({});
  for (const auto& [diagnostic, option] : {NamedTest{"Q", "t"}, NamedTest{"E", "x"}}) {
    const sdk::TestRecord& test = FindTest(diagnostics, diagnostic, option);
    EXPECT_TRUE(test.mayWrite) << option;
    EXPECT_FALSE(test.needsOperator) << option;
    EXPECT_TRUE(test.parameters.empty()) << option;
  }
  EXPECT_FALSE(FindTest(diagnostics, "Q", "f").mayWrite);
}

}  // namespace
}  // namespace orvan::storage
