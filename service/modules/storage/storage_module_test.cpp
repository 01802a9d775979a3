#include "service/modules/storage/storage_module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>

#include "service/modules/storage/read_test_support.h"
#include "service/modules/storage/scan_test_support.h"
#include "service/modules/storage/tables.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using machine::DiskFaults;
using sdk::OpenFailure;
using sdk::testing::FindTest;
using sdk::testing::RememberingContext;

// The options of a diagnostic and of one of its tests.
using Named = std::pair<std::string, std::string>;

// Those that read the surface; what writes and what asks drives has tests of its own.
std::vector<Named> AllTests() {
  std::vector<Named> all;
  for (const sdk::DiagnosticRecord& diagnostic : MakeDiagnostics({})) {
    for (const sdk::TestRecord& test : diagnostic.tests) {
      if (!test.mayWrite && !test.parameters.empty()) {
        all.emplace_back(diagnostic.option, test.option);
      }
    }
  }
  return all;
}

class EveryTest : public testing::TestWithParam<Named> {
 protected:
  sdk::Verdict RunOn(ReadBench& bench, sdk::ParameterValues parameters = {}) {
    return bench.Run(GetParam().first, GetParam().second, std::move(parameters));
  }
};

INSTANTIATE_TEST_SUITE_P(All, EveryTest, testing::ValuesIn(AllTests()),
                         [](const auto& info) { return info.param.first + info.param.second; });

TEST_P(EveryTest, PassesAGoodDiskAndEndsAt100Percent) {
  ReadBench bench;
  EXPECT_EQ(RunOn(bench).status, kTestPassed);
  EXPECT_EQ(bench.context->percents.front(), 0);
  EXPECT_EQ(bench.context->percents.back(), 100);
  EXPECT_EQ(bench.opened.device, "/dev/sdx");
  EXPECT_EQ(bench.opened.expectedDevice, sdk::DeviceNumber(8, 1));
  EXPECT_EQ(bench.opened.diskSequence, 29U);
  EXPECT_EQ(bench.opened.timeLimit, 30s);
}

TEST_P(EveryTest, KeepsAtMostAFewMebibytesInFlight) {
  for (const char* kib : {"4", "64", "1024", "4096"}) {
    ReadBench bench;
    RunOn(bench, {{"block_kib", kib}});
    EXPECT_GE(bench.opened.depth, 1U);
    EXPECT_LE(bench.opened.depth * std::uint64_t{bench.opened.largestReadBytes}, 4U << 20);
  }
}

// The value of the one measurement of this name; its limit and unit must be these.
double Measured(const ReadBench& bench, const std::string& name, const std::string& unit,
                bool hasLimit) {
  const auto& all = bench.context->measurements;
  const auto isNamed = [&](const sdk::Measurement& one) { return one.name == name; };
  EXPECT_EQ(std::count_if(all.begin(), all.end(), isNamed), 1) << name;
  const auto found = std::find_if(all.begin(), all.end(), isNamed);
  if (found == all.end()) return -1;
  EXPECT_EQ(found->unit, unit);
  EXPECT_EQ(found->limits.size(), hasLimit ? 1U : 0U);
  for (const sdk::Limit& limit : found->limits) {
    EXPECT_EQ(limit.kind, sdk::Limit::Kind::kEqual);
    EXPECT_EQ(limit.value, 0);
  }
  return found->value;
}

TEST_P(EveryTest, MeasuresWhatItRead) {
  ReadBench bench;
  RunOn(bench, {{"first_lba", "128"}, {"last_lba", "1151"}, {"block_kib", "64"}});
  EXPECT_EQ(Measured(bench, "bytes-read", "B", false), 524288);
  EXPECT_GT(Measured(bench, "read-rate", "B/s", false), 0);
  EXPECT_GT(Measured(bench, "slowest-answer", "s", false), 0);
  EXPECT_EQ(Measured(bench, "unreadable-sectors", "", true), 0);
  EXPECT_EQ(Measured(bench, "unreadable-blocks", "", true), 0);
}

TEST_P(EveryTest, MeasuresWhatItCouldNotRead) {
  DiskFaults faults;
  faults.badSectors = {{200, EIO}, {300, EIO}, {301, EIO}};
  ReadBench bench(faults);
  RunOn(bench, {{"first_lba", "128"}, {"last_lba", "1151"}, {"block_kib", "64"}});
  EXPECT_EQ(Measured(bench, "bytes-read", "B", false), 524288 - 2 * 65536);
  EXPECT_EQ(Measured(bench, "unreadable-sectors", "", true), 3);
}

TEST_P(EveryTest, FindsTheOneBadSectorOfARange) {
  DiskFaults faults;
  faults.badSectors = {{5003, ENODATA}};
  ReadBench bench(faults);
  const sdk::Verdict verdict = RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "5010"}});
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_5003,_COUNT_1,_ERROR_61_(CRITICAL_MEDIUM_ERROR),"
            "_SECTORS_5003");
  EXPECT_TRUE(std::count(bench.context->messages.begin(), bench.context->messages.end(),
                         "|UNREADABLE_SECTOR_AT_|L|B|A_5003") == 1);
}

TEST_P(EveryTest, ASurfaceThatAnswersLateIsNoPass) {
  DiskFaults faults;
  for (std::uint64_t sector = 0; sector < kSectors; ++sector) faults.slowSectors[sector] = 27s;
  ReadBench bench(faults);
  const sdk::Verdict verdict =
      RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "5007"}, {"block_kib", "4"}});
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(
      verdict.message.starts_with("|SLOW_ANSWERS:_COUNT_1,_SLOWEST_216.0_SECONDS_AT_"
                                  "|L|B|A_5000,_SECTORS_5000-5007"))
      << verdict.message;
  EXPECT_EQ(Measured(bench, "slow-answers", "", true), 1);
}

TEST_P(EveryTest, WhatCountsAsLateIsAParameter) {
  DiskFaults faults;
  faults.slowSectors[5003] = 400ms;
  for (const auto& [limit, status] :
       {std::pair{"300", kTestWarning}, std::pair{"600", kTestPassed}}) {
    ReadBench bench(faults);
    EXPECT_EQ(
        RunOn(bench,
              {{"first_lba", "5000"}, {"last_lba", "5007"}, {"block_kib", "4"}, {"slow_ms", limit}})
            .status,
        status);
  }
}

TEST_P(EveryTest, ReadsDisksOfAnySectorSize) {
  for (const std::uint32_t sectorBytes : {512U, 4096U, 8192U, 65536U}) {
    DiskFaults faults;
    faults.badSectors[1001] = EIO;
    ReadBench bench(faults, 2000, sectorBytes);
    const sdk::Verdict verdict = RunOn(bench, {{"first_lba", "1001"}, {"last_lba", "1002"}});
    EXPECT_EQ(verdict.status, kTestFailed) << sectorBytes;
    EXPECT_TRUE(verdict.message.ends_with("_SECTORS_1001")) << verdict.message;
    for (const auto& read : bench.submitted) {
      EXPECT_EQ(read.offsetBytes % sectorBytes, 0U);
      EXPECT_EQ(read.sizeBytes % sectorBytes, 0U);
      EXPECT_LE(read.offsetBytes + read.sizeBytes, std::uint64_t{1003} * sectorBytes);
    }
  }
}

TEST_P(EveryTest, ReadsOnlyInsideTheRange) {
  ReadBench bench;
  RunOn(bench, {{"first_lba", "5000"}, {"last_lba", "9999"}});
  ASSERT_FALSE(bench.submitted.empty());
  for (const sdk::BlockRead& read : bench.submitted) {
    EXPECT_GE(read.offsetBytes, 5000U * 512);
    EXPECT_LE(read.offsetBytes + read.sizeBytes, 10000U * 512);
  }
}

TEST_P(EveryTest, AStopIsCanceled) {
  ReadBench bench;
  bench.context = std::make_unique<RememberingContext>(&bench.disk);
  bench.context->stop.request_stop();
  const auto& test = FindTest(bench.diagnostics, GetParam().first, GetParam().second);
  EXPECT_EQ(test.run(*bench.context).status, kTestCanceled);
}

TEST_P(EveryTest, ADiskWithoutCapacityIsNotApplicable) {
  ReadBench bench({}, 0);
  const sdk::Verdict verdict = RunOn(bench);
  EXPECT_EQ(verdict.status, kTestNotApplicable);
  EXPECT_EQ(verdict.message, "|THE_DISK_HAS_NO_CAPACITY");
}

TEST_P(EveryTest, ADiskThatMayNotBeOpenedIsInvalid) {
  ReadBench bench;
  bench.failure = {nullptr, OpenFailure::kDevice, EACCES};
  EXPECT_EQ(RunOn(bench).status, kTestInvalid);
}

TEST_P(EveryTest, ThePseudoDeviceIsNotApplicable) {
  ReadBench bench;
  RememberingContext context(nullptr);
  const auto& test = FindTest(bench.diagnostics, GetParam().first, GetParam().second);
  EXPECT_EQ(test.run(context).status, kTestNotApplicable);
}

TEST_P(EveryTest, ValuesThatDoNotFitAreInvalidAndNamed) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"block_kib", "3"},     {"block_kib", "4097"}, {"block_kib", ""},
      {"block_kib", "64k"},   {"first_lba", "-1"},   {"first_lba", "100000"},
      {"last_lba", "100000"}, {"seconds", "604801"}, {"last_lba", "99999999999999999999"},
  };
  for (const auto& [name, value] : wrong) {
    ReadBench bench;
    const sdk::Verdict verdict = RunOn(bench, {{name, value}});
    EXPECT_EQ(verdict.status, kTestInvalid) << name << '=' << value;
    EXPECT_EQ(verdict.message, "|INVALID_VALUE_OF_PARAMETER_" + name);
  }
  ReadBench bench;
  EXPECT_EQ(RunOn(bench, {{"first_lba", "10"}, {"last_lba", "9"}}).status, kTestInvalid);
}

TEST_P(EveryTest, ABlockThatIsNoMultipleOfTheSectorIsInvalid) {
  for (const char* kib : {"4", "12"}) {
    ReadBench bench({}, 1000, 8192);
    const sdk::Verdict verdict = RunOn(bench, {{"block_kib", kib}});
    EXPECT_EQ(verdict.status, kTestInvalid);
    EXPECT_EQ(verdict.message, "|INVALID_VALUE_OF_PARAMETER_block_kib");
  }
  ReadBench bench({}, 1000, 8192);
  EXPECT_EQ(RunOn(bench, {{"block_kib", "8"}}).status, kTestPassed);
}

TEST(FunnelRead, AlternatesBetweenTheEdgesOneBlockAtATime) {
  ReadBench bench;
  bench.Run("Q", "f", {{"blocks", "5"}, {"block_kib", "64"}, {"last_lba", "1151"}});
  std::vector<std::uint64_t> blocks;
  for (const auto& read : bench.submitted) blocks.push_back(read.offsetBytes / 65536);
  EXPECT_EQ(blocks, (std::vector<std::uint64_t>{0, 8, 2, 6, 4}));
  EXPECT_EQ(bench.opened.depth, 1U);
}

TEST(RandomRead, SaysItsSeedAndRepeatsWithIt) {
  ReadBench first;
  const sdk::Verdict verdict = first.Run("Q", "r");
  ASSERT_EQ(first.context->messages.size(), 1U);
  const std::string message = first.context->messages[0];
  const std::string prefix = "|READING_IN_RANDOM_ORDER_WITH_SEED_";
  ASSERT_TRUE(message.starts_with(prefix));
  const std::string seed = message.substr(prefix.size());
  EXPECT_TRUE(verdict.found.ends_with(", seed " + seed));
  ReadBench second;
  second.Run("Q", "r", {{"seed", seed}});
  ASSERT_EQ(first.submitted.size(), second.submitted.size());
  for (std::size_t i = 0; i < first.submitted.size(); ++i) {
    EXPECT_EQ(first.submitted[i].offsetBytes, second.submitted[i].offsetBytes);
  }
}

TEST(RandomRead, TakesAnotherSeedEachTimeAndOnlyWhenNoneIsGiven) {
  ReadBench bench;
  bench.chance = 0x80000000 + 17;
  bench.Run("Q", "r");
  bench.Run("Q", "r", {{"seed", "5"}});
  EXPECT_EQ(bench.context->messages[0], "|READING_IN_RANDOM_ORDER_WITH_SEED_5");
  const sdk::Verdict verdict = bench.Run("Q", "r");
  EXPECT_EQ(bench.context->messages[0], "|READING_IN_RANDOM_ORDER_WITH_SEED_19");
  EXPECT_TRUE(verdict.found.ends_with(", seed 19"));
}

TEST(LinearRead, ReadsTheWholeSurfaceInOrder) {
  ReadBench bench;
  bench.Run("E", "l");
  std::uint64_t next = 0;
  for (const auto& read : bench.submitted) {
    EXPECT_EQ(read.offsetBytes, next);
    next += read.sizeBytes;
  }
  EXPECT_EQ(next, kSectors * 512);
}

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
  const std::vector<Named> all = AllTests();
  const auto has = [&all](const Named& test) {
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
  for (const Named& test : {Named{"Q", "s"}, {"Q", "e"}, {"E", "s"}}) {
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
  for (const auto& [diagnostic, option] : {Named{"Q", "t"}, Named{"E", "x"}}) {
    const sdk::TestRecord& test = FindTest(diagnostics, diagnostic, option);
    EXPECT_TRUE(test.mayWrite) << option;
    EXPECT_FALSE(test.needsOperator) << option;
    EXPECT_TRUE(test.parameters.empty()) << option;
  }
  EXPECT_FALSE(FindTest(diagnostics, "Q", "f").mayWrite);
}

TEST(StorageModule, TellsNameAndVersion) {
  const StorageModule module({});
  EXPECT_EQ(module.Name(), "Storage");
  EXPECT_EQ(module.Version().Major(), 5U);
  EXPECT_EQ(module.Version().Build(), 0U);
  EXPECT_EQ(module.Diagnostics().size(), 2U);
}

// A captured machine on which nothing else is to be had.
class CapturedMachine final : public sdk::ClosedMachine {
 public:
  const sdk::MachineFiles& Files() const override { return files_; }
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    EXPECT_EQ(budget, 5s);
    return std::make_unique<CountingProbe>();
  }
  std::chrono::steady_clock::time_point Now() const override { return {}; }

 private:
  sdk::testing::CapturedFiles files_{CaptureText("desktop")};
};

std::vector<std::unique_ptr<sdk::Device>> Found(const sdk::ModuleEnvironment& environment) {
  StorageModule module(environment);
  return sdk::testing::DevicesOf(module);
}

TEST(StorageModule, FindsTheDisksOfTheMachineThatItWasGiven) {
  CapturedMachine machine;
  sdk::ModuleEnvironment environment;
  environment.machine = &machine;
  EXPECT_EQ(Found(environment).size(), 4U);
  environment.settings = {{"storage/include_loop", "1"}};
  EXPECT_EQ(Found(environment).size(), 6U);  // two of three have a file
}

TEST(StorageModule, IsMadeWithoutAnyAccess) {
  sdk::ClosedMachine closed;
  sdk::ModuleEnvironment environment;
  environment.machine = &closed;
  StorageModule module(environment);
  EXPECT_EQ(module.Diagnostics().size(), 2U);
  EXPECT_EQ(module.Help().summary,
            "reads disks, asks drives about their health, and writes to an empty one when it is "
            "asked to.");
  EXPECT_THROW(sdk::testing::DevicesOf(module), std::logic_error);
  Disk disk = MakeDisk();
  RememberingContext context(&disk);
  EXPECT_THROW(FindTest(module.Diagnostics(), "Q", "f").run(context), std::logic_error);
}

TEST(StorageModule, TheTimeLimitComesFromTheSettings) {
  const auto limit = [](const char* value) {
    return TimeLimitOf({{"storage/timeout_seconds", value}}).count();
  };
  EXPECT_EQ(TimeLimitOf({}).count(), 30);
  EXPECT_EQ(limit("1"), 1);
  EXPECT_EQ(limit("600"), 600);
  for (const char* wrong : {"0", "601", "-1", "", "ten", "5s", "99999999999"}) {
    EXPECT_EQ(limit(wrong), 30) << wrong;
  }
}

}  // namespace
}  // namespace orvan::storage
