#include "service/modules/storage/write_compare.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <span>

#include "service/modules/storage/write_test_support.h"
#include "service/modules/storage/write_words.h"
#include "service/modules/storage/written_pattern.h"
#include "service/sdk/closed_machine.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;
using sdk::testing::MediumFaults;

TEST(WriteCompare, AnEmptyDiskPassesWithAllItsSizesOfSectors) {
  for (const auto& [logical, physical] : {std::pair{512U, 512U}, {512U, 4096U}, {4096U, 4096U}}) {
    WriteBench bench({}, {8U << 20, logical, physical});
    const Verdict verdict = bench.Run();
    EXPECT_EQ(verdict.status, kTestPassed) << verdict.message;
    EXPECT_EQ(verdict.message, "");
    EXPECT_EQ(verdict.found, "2 of 2 passes, 16777216 bytes written, 16777216 bytes compared");
    EXPECT_EQ(bench.medium->WrittenSectors().size(), (8U << 20) / logical);
    EXPECT_EQ(bench.context->percents.front(), 0);
    EXPECT_EQ(bench.context->percents.back(), 100);
  }
}

TEST(WriteCompare, SaysBeforeWhatIsLostAndAfterwardsWhatIsThere) {
  WriteBench bench;
  bench.Run({{"destructive", "TRUE"}, {"first_lba", "2048"}, {"last_lba", "4095"}});
  ASSERT_EQ(bench.context->messages.size(), 1U);
  EXPECT_EQ(bench.context->messages[0],
            "|WRITING_OVER_ALL_DATA_FROM_|L|B|A_2048_TO_|L|B|A_4095_IN_2_PASSES,_RUN_1001");
  ASSERT_EQ(bench.context->lines.size(), 1U);
  EXPECT_EQ(bench.context->lines[0],
            "The disk holds the test pattern of run 1001 from LBA 2048 to LBA 4095; what was there "
            "before is lost.");
}

TEST(WriteCompare, EachRunHasANumberOfItsOwnUnlessOneIsGiven) {
  WriteBench bench;
  std::vector<std::byte> sector(512);
  const auto run = [&](const sdk::ParameterValues& parameters) {
    bench.Run(parameters);
    EXPECT_TRUE(bench.medium->Read(0, sector).IsDone());
    return NameIn(sector)->run;
  };
  EXPECT_EQ(run({{"destructive", "TRUE"}}), 1001U);
  EXPECT_EQ(run({{"destructive", "TRUE"}}), 1002U);
  EXPECT_EQ(run({{"destructive", "TRUE"}, {"seed", "7"}}), 7U);
  EXPECT_EQ(bench.machine.chance, 1002U);
}

// "NAME 100:1 7000:1" of each series.
std::string PlacesText(const sdk::testing::RememberingContext& context) {
  std::string text;
  for (const sdk::MeasurementSeries& series : context.series) {
    text += (text.empty() ? "" : "; ") + series.name;
    for (const auto& point : series.points) {
      text += ' ' + std::to_string(static_cast<std::uint64_t>(point.position)) + ':' +
              std::to_string(static_cast<std::uint64_t>(point.value));
    }
  }
  return text;
}

TEST(WriteCompare, TellsEachFaultWithItsPlace) {
  struct Row {
    MediumFaults faults;
    std::string message;
    std::string found;
    std::string where;
    std::string places = {};
  };
  const std::string kPass = "1 of 2 passes, 8388608 bytes written, 8388608 bytes compared, ";
  const std::vector<Row> rows = {
      {{.misplacedWrites = {{7000, 100}}},
       "|WRONG_SECTORS:_FIRST_|L|B|A_100,_COUNT_2,_SECTORS_100,_7000;_THE_FIRST_HOLDS_THE_PATTERN_"
       "OF_|L|B|A_7000_OF_PASS_1",
       kPass + "2 wrong sectors (1 zeros, 1 of another address)",
       "LBA 100, 7000",
       "wrong-ranges 100:1 7000:1"},
      {{.lostWrites = {55}},
       "|WRONG_SECTORS:_FIRST_|L|B|A_55,_COUNT_1,_SECTORS_55;_THE_FIRST_HOLDS_ZEROS",
       kPass + "1 wrong sectors (1 zeros)",
       "LBA 55",
       "wrong-ranges 55:1"},
      {{.realSectors = 10000},
       "|WRONG_SECTORS:_FIRST_|L|B|A_0,_COUNT_6384,_SECTORS_0-6383;_THE_FIRST_HOLDS_THE_PATTERN_OF_"
       "|L|B|A_10000_OF_PASS_1._|THE_DISK_REPEATS_ITSELF_AFTER_10000_SECTORS,_SO_ITS_CAPACITY_IS_"
       "NOT_WHAT_IT_SAYS",
       kPass + "6384 wrong sectors (6384 of another address)",
       "LBA 0-6383",
       "wrong-ranges 0:6384"},
      {{.failingWrites = {{300, EIO}}},
       "|UNWRITABLE_SECTORS:_FIRST_|L|B|A_300,_COUNT_1,_ERROR_5_(INPUT/OUTPUT_ERROR),_SECTORS_300",
       "1 of 2 passes, 8388096 bytes written, 8388608 bytes compared, 1 unwritable sectors",
       "LBA 300",
       "unwritable-ranges 300:1"},
      {{.breakingWrites = {{301, ENODATA}}},
       "|UNREADABLE_SECTORS:_FIRST_|L|B|A_301,_COUNT_1,_ERROR_61_(CRITICAL_MEDIUM_ERROR),_SECTORS_"
       "301",
       "1 of 2 passes, 8388608 bytes written, 8388096 bytes compared, 1 unreadable sectors",
       "LBA 301",
       "unreadable-ranges 301:1"},
      {{.hangingWrites = {4096}},
       "|A_WRITE_AT_|L|B|A_4096_DID_NOT_COME_BACK_WITHIN_30_SECONDS",
       "0 of 2 passes, 2097152 bytes written, 0 bytes compared",
       "LBA 4096"},
      {{.flushError = EIO},
       "|THE_DISK_DID_NOT_KEEP_WHAT_WAS_WRITTEN:_FLUSHING_FAILED,_ERROR_5_(INPUT/OUTPUT_ERROR)",
       "0 of 2 passes, 8388608 bytes written, 0 bytes compared",
       ""},
      {{.hasVolatileCache = true, .cutAfterWrites = 3},
       "|THE_DISK_VANISHED_WHILE_WRITING_AT_|L|B|A_6144",
       "0 of 2 passes, 3145728 bytes written, 0 bytes compared",
       "LBA 6144"},
  };
  for (const Row& row : rows) {
    WriteBench bench(row.faults);
    const Verdict verdict = bench.Run();
    EXPECT_EQ(verdict.status, kTestFailed);
    EXPECT_EQ(verdict.message, row.message);
    EXPECT_EQ(verdict.found, row.found);
    EXPECT_EQ(verdict.where, row.where);
    EXPECT_EQ(PlacesText(*bench.context), row.places);
    EXPECT_EQ(bench.context->lines.size(), 1U);
  }
}

TEST(WriteCompare, WrongBitsAreCountedInTheFirstSector) {
  WriteBench bench({.stuckBits = {{1234, {99, std::byte{0x08}}}}});
  // The bit is seen before anything is written, too.
  const Verdict verdict = bench.Run(kForced);
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            "|WRONG_SECTORS:_FIRST_|L|B|A_1234,_COUNT_1,_SECTORS_1234;_THE_FIRST_HAS_1_WRONG_BITS,_"
            "THE_FIRST_IN_BYTE_99");
}

TEST(WriteCompare, AStopSaysWhatIsOnTheDisk) {
  WriteBench early;
  early.isStopped = true;
  EXPECT_EQ(early.Run().status, kTestCanceled);
  EXPECT_EQ(early.medium->Writes(), 0U);
  WriteResult result;
  result.end = WriteEnd::kStopped;
  result.sectorsTouched = 100;
  const WritePlan plan{5, 50, 1000, 8};
  Verdict verdict = words::WriteVerdict(result, plan, std::chrono::seconds(30));
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(verdict.message,
            "|STOPPED._|THE_TEST_PATTERN_IS_ON_THE_DISK_FROM_|L|B|A_50_TO_|L|B|A_149");
  result.sectorsTouched = 0;
  verdict = words::WriteVerdict(result, plan, std::chrono::seconds(30));
  EXPECT_EQ(verdict.message, "|STOPPED_BEFORE_ANYTHING_WAS_WRITTEN");
}

TEST(WriteCompare, ARunThatItsTimeCutShortIsNoPass) {
  WriteResult result;
  result.end = WriteEnd::kTimeCap;
  result.passesDone = 1;
  result.sectorsPlanned = 1000;
  result.sectorsCompared = 400;
  const Verdict verdict =
      words::WriteVerdict(result, WritePlan{5, 0, 999, 8}, std::chrono::seconds(30));
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_EQ(verdict.message, "|TIME_IS_UP:_400_OF_1000_SECTORS_COMPARED,_1_OF_2_PASSES_DONE");
}

// A disk on which each transfer takes a second.
class SlowWriter final : public sdk::BlockWriter {
 public:
  explicit SlowWriter(std::chrono::steady_clock::time_point& now) : now_(now) {}
  const sdk::BlockGeometry& Geometry() const override { return disk_.Geometry(); }
  sdk::TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    now_ += std::chrono::seconds(1);
    return disk_.Write(offset, data);
  }
  sdk::TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    now_ += std::chrono::seconds(1);
    return disk_.Read(offset, data);
  }
  sdk::TransferResult Flush() override { return disk_.Flush(); }

 private:
  std::chrono::steady_clock::time_point& now_;
  sdk::testing::MemoryDisk disk_{{kWriteSectors * 512, 512, 512}, {}};
};

struct SlowMachine final : sdk::ClosedMachine {
  const sdk::MachineFiles& Files() const override { return files; }
  sdk::OpenedWriter OpenWriter(const sdk::BlockWriterOptions& options, std::stop_token) override {
    asked = options;
    return {std::make_unique<SlowWriter>(now), sdk::WriteRefusal::kNone, 0, {}};
  }
  std::chrono::steady_clock::time_point Now() const override { return now; }
  std::uint64_t Chance() override { return 7; }

  sdk::testing::CapturedFiles files{std::string()};
  std::chrono::steady_clock::time_point now{};
  sdk::BlockWriterOptions asked;
};

TEST(WriteCompare, ItsWriterAndItsTimeAreAsTheyWereAskedFor) {
  SlowMachine machine;
  const Disk disk("0", FactsOfDisk(), true);
  const auto diagnostics = MakeDiagnostics({&machine, std::chrono::seconds(17)});
  sdk::testing::RememberingContext context(
      &disk,
      {{"destructive", "TRUE"}, {"overwrite", "TRUE"}, {"block_kib", "64"}, {"seconds", "40"}});
  const Verdict verdict = sdk::testing::FindTest(diagnostics, "E", "w").run(context);
  EXPECT_EQ(machine.asked.timeLimit, std::chrono::seconds(17));
  EXPECT_TRUE(machine.asked.stopEndsTransfers);
  EXPECT_TRUE(machine.asked.onlyWithoutSignature);
  EXPECT_EQ(verdict.status, kTestWarning);
  EXPECT_TRUE(verdict.message.starts_with("|TIME_IS_UP:_")) << verdict.message;
  EXPECT_LE(machine.now.time_since_epoch(), std::chrono::seconds(45));
}

TEST(WriteCompare, MeasuresWhatItDid) {
  WriteBench bench({.failingWrites = {{300, EIO}}});
  bench.Run();
  EXPECT_EQ(bench.context->Measured("first-lba").value, 0);
  EXPECT_EQ(bench.context->Measured("last-lba").value, 16383);
  EXPECT_EQ(bench.context->Measured("bytes-written").value, 8388096);
  EXPECT_EQ(bench.context->Measured("bytes-compared").value, 8388608);
  for (const auto& [name, value] :
       {std::pair{"wrong-sectors", 0}, {"unwritable-sectors", 1}, {"unreadable-sectors", 0}}) {
    EXPECT_EQ(bench.context->Measured(name).value, value) << name;
    EXPECT_EQ(bench.context->Measured(name).limits.size(), 1U) << name;
  }
  EXPECT_EQ(bench.context->Measured("slowest-write").unit, "s");
  EXPECT_EQ(bench.context->Measured("slowest-read").unit, "s");
}

}  // namespace
}  // namespace orvan::storage
