#include "service/modules/storage/write_compare.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/tables.h"
#include "service/modules/storage/write_words.h"
#include "service/modules/storage/written_pattern.h"
#include "service/sdk/module_test_support.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;
using sdk::WriteRefusal;
using sdk::testing::FaultyDisk;
using sdk::testing::MediumFaults;
using sdk::testing::MemoryDisk;

constexpr std::uint64_t kSectors = 16384;  // 8 MiB
constexpr char kPath[] = "/dev/sdx";

DiskFacts FactsOfDisk() {
  DiskFacts facts;
  facts.kernelName = "sdx";
  facts.devicePath = kPath;
  facts.folder = "/sys/x";
  facts.deviceNumber = sdk::DeviceNumber(8, 1);
  facts.diskSequence = 29;
  facts.serial = "one";
  return facts;
}

// The write test on a disk in memory, as the service runs it.
struct WriteBench {
  explicit WriteBench(MediumFaults faults = {},
                      sdk::BlockGeometry geometry = {kSectors * 512, 512, 512},
                      const std::string& files = "")
      : medium(std::make_shared<MemoryDisk>(geometry, std::move(faults))),
        machine(std::make_unique<sdk::testing::CapturedFiles>(files)) {
    FaultyDisk& disk = machine.disks[kPath];
    disk.medium = medium;
    disk.deviceNumber = facts.deviceNumber;
    disk.diskSequence = facts.diskSequence;
    machine.chance = 1000;
  }

  Verdict Run(sdk::ParameterValues parameters = {{"destructive", "TRUE"}}) {
    const Disk disk("0", facts, true);
    const auto diagnostics = MakeDiagnostics({&machine, std::chrono::seconds(30)});
    const sdk::TestRecord& test = sdk::testing::FindTest(diagnostics, "E", "w");
    context = std::make_unique<sdk::testing::RememberingContext>(&disk, std::move(parameters));
    if (isStopped) context->stop.request_stop();
    machine.GrantWriting(test.mayWrite);
    Verdict verdict = test.run(*context);
    machine.GrantWriting(false);
    return verdict;
  }
  // What is on the disk before the test.
  void Put(std::uint64_t lba, std::byte value) {
    const std::vector<std::byte> sector(medium->Geometry().logicalSectorBytes, value);
    ASSERT_TRUE(medium->Write(lba * sector.size(), sector).IsDone());
  }
  // Runs, and nothing is written.
  void ExpectUntouched(TestStatus status, const std::string& message,
                       sdk::ParameterValues parameters = {{"destructive", "TRUE"}}) {
    const std::uint64_t before = medium->Writes();
    const Verdict verdict = Run(std::move(parameters));
    EXPECT_EQ(verdict.status, status) << verdict.message;
    EXPECT_EQ(verdict.message, message);
    EXPECT_EQ(medium->Writes(), before);
    EXPECT_TRUE(context->lines.empty());
    EXPECT_TRUE(context->messages.empty());
  }

  DiskFacts facts = FactsOfDisk();
  std::shared_ptr<MemoryDisk> medium;
  sdk::testing::FaultyMachine machine;
  std::unique_ptr<sdk::testing::RememberingContext> context;
  bool isStopped = false;
};

const sdk::ParameterValues kForced = {{"destructive", "TRUE"}, {"overwrite", "TRUE"}};
constexpr char kNotAsked[] =
    "|THIS_TEST_DESTROYS_ALL_DATA_ON_THE_DISK._|ASK_FOR_IT_WITH_W(DESTRUCTIVE=YES)";

TEST(WriteCompare, NothingIsTouchedUnlessItIsAskedFor) {
  WriteBench bench;
  bench.machine.disks.clear();  // not even opened
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {});
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {{"destructive", "FALSE"}});
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {{"overwrite", "TRUE"}});
}

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

TEST(WriteCompare, WhatTheScanFoundOnItKeepsItFromBeingOpened) {
  WriteBench bench;
  bench.machine.disks.clear();
  const std::string begin = "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_";
  bench.facts.partitions.emplace_back().index = 1;
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_PARTITION", kForced);
  bench.facts.partitions[0].fileSystem = "ext4";
  bench.facts.partitions[0].mountPoint = "/home";
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_PARTITION_(ext4),_MOUNTED_AT_/home",
                        kForced);
  bench.facts.partitions = {Partition()};
  bench.facts.partitions[0].fileSystem = "xfs";
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_FILE_SYSTEM_(xfs)", kForced);
}

// It refuses a second write to a sector, which is no fault of its surface.
TEST(WriteCompare, ADiskOfZonesThatAreWrittenInOrderIsLeftAlone) {
  const sdk::BlockGeometry geometry{kSectors * 512, 512, 512};
  WriteBench managed({}, geometry, "f /sys/x/queue/zoned host-managed\\x0a\n");
  managed.machine.disks.clear();
  managed.ExpectUntouched(kTestNotApplicable,
                          "|THE_DISK_HAS_ZONES_THAT_CAN_BE_WRITTEN_IN_ORDER_ONLY,_WHICH_THIS_TEST_"
                          "DOES_NOT_DO");
  for (const char* model : {"none", "host-aware"}) {
    WriteBench free({}, geometry, std::string("f /sys/x/queue/zoned ") + model + "\\x0a\n");
    EXPECT_EQ(free.Run().status, kTestPassed) << model;
  }
}

TEST(WriteCompare, WhatBeganSinceTheScanKeepsItFromBeingWritten) {
  struct Row {
    WriteRefusal refusal;
    int error;
    TestStatus status;
    std::string message;
  };
  const std::string inUse = "|THE_DISK_IS_IN_USE,_NOTHING_WAS_WRITTEN:_";
  const std::vector<Row> rows = {
      {WriteRefusal::kMounted, 0, kTestNotApplicable, inUse + "MOUNTED_AT_/mnt/a_b"},
      {WriteRefusal::kSwap, 0, kTestNotApplicable, inUse + "SWAP_SPACE"},
      {WriteRefusal::kHeld, 0, kTestNotApplicable, inUse + "A_PART_OF_/mnt/a_b"},
      {WriteRefusal::kBusy, EBUSY, kTestNotApplicable, inUse + "SOMEBODY_HOLDS_IT"},
      {WriteRefusal::kHoldsData, 0, kTestNotApplicable,
       "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_/mnt/a_b"},
      {WriteRefusal::kUnknownUse, ENOENT, kTestNotApplicable,
       "|WHETHER_THE_DISK_IS_IN_USE_COULD_NOT_BE_FOUND_OUT,_ERROR_2_(NO_SUCH_FILE)"},
      {WriteRefusal::kUnknownContent, EIO, kTestNotApplicable,
       "|WHAT_THE_DISK_HOLDS_COULD_NOT_BE_FOUND_OUT,_ERROR_5_(INPUT/OUTPUT_ERROR)"},
      {WriteRefusal::kHung, ETIMEDOUT, kTestFailed,
       "|OPENING_THE_DISK_DID_NOT_COME_BACK_WITHIN_30_SECONDS"},
      {WriteRefusal::kStopped, 0, kTestCanceled, ""},
      {WriteRefusal::kNotGranted, 0, kTestInvalid, "|THE_TEST_WAS_NOT_ALLOWED_TO_WRITE"},
      {WriteRefusal::kOwnFault, ENOMEM, kTestInvalid,
       "|WRITING_COULD_NOT_BE_TRIED,_ERROR_12_(OUT_OF_MEMORY)"},
      {WriteRefusal::kDevice, ENOMEDIUM, kTestNotApplicable, "|NO_MEDIUM_IN_THE_DRIVE"},
      {WriteRefusal::kDevice, EROFS, kTestNotApplicable, "|THE_DISK_IS_PROTECTED_FROM_WRITING"},
      {WriteRefusal::kDevice, EACCES, kTestInvalid, "|NO_PERMISSION_TO_WRITE_TO_THE_DISK"},
      {WriteRefusal::kDevice, ENODEV, kTestInvalid, "|THE_DISK_IS_NOT_THERE_ANY_MORE"},
      {WriteRefusal::kDevice, EIO, kTestInvalid,
       "|THE_DISK_COULD_NOT_BE_OPENED,_ERROR_5_(INPUT/OUTPUT_ERROR)"},
  };
  for (const Row& row : rows) {
    WriteBench bench;
    FaultyDisk& disk = bench.machine.disks[kPath];
    disk.refusal = row.refusal;
    disk.refusalError = row.error;
    disk.user = "/mnt/a b";
    bench.ExpectUntouched(row.status, row.message, kForced);
  }
}

TEST(WriteCompare, ASignatureThatCameSinceTheScanKeepsItFromBeingWritten) {
  WriteBench bench;
  bench.machine.fileSystems[kPath].tableType = "gpt";
  bench.ExpectUntouched(kTestNotApplicable,
                        "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_gpt", kForced);
}

TEST(WriteCompare, AnotherDiskUnderItsNameIsNotWritten) {
  WriteBench bench;
  bench.machine.disks[kPath].diskSequence = 30;
  bench.ExpectUntouched(kTestInvalid, "|THE_DISK_IS_NOT_THERE_ANY_MORE", kForced);
}

std::string UnnamedKey(std::uint64_t lba) {
  return "|NOTHING_WAS_WRITTEN:_THE_DISK_HOLDS_DATA_THAT_NO_SIGNATURE_NAMES,_AT_|L|B|A_" +
         std::to_string(lba) +
         "._|TO_HAVE_IT_WRITTEN_OVER_ASK_FOR_W(DESTRUCTIVE=YES,OVERWRITE=YES)";
}

TEST(WriteCompare, DataThatNoSignatureNamesIsWrittenOverOnlyWhenThatIsAskedForToo) {
  for (const std::uint64_t lba : {std::uint64_t{0}, std::uint64_t{2047}, std::uint64_t{9000},
                                  kSectors - 2048, kSectors - 1}) {
    WriteBench bench;
    bench.Put(lba, std::byte{0x5A});
    bench.ExpectUntouched(kTestNotApplicable, UnnamedKey(lba));
    EXPECT_EQ(bench.Run(kForced).status, kTestPassed);
  }
}

TEST(WriteCompare, OfALargeDiskPlacesAllOverItAreLookedAt) {
  constexpr std::uint64_t kLarge = (std::uint64_t{1} << 30) / 512;
  // The last two lie in the first and the last MiB alone.
  for (const std::uint64_t lba :
       {kLarge / 256 * 255, kLarge / 256 * 77 + 127, std::uint64_t{2047}, kLarge - 2048}) {
    WriteBench bench({}, {kLarge * 512, 512, 512});
    bench.Put(lba, std::byte{1});
    bench.ExpectUntouched(kTestNotApplicable, UnnamedKey(lba));
  }
}

TEST(WriteCompare, WhatAnErasedDiskOrAnEarlierRunLeavesIsNobodysData) {
  WriteBench bench;
  bench.Put(5, std::byte{0xFF});
  EXPECT_EQ(bench.Run().status, kTestPassed);
  EXPECT_EQ(bench.Run().status, kTestPassed);
}

TEST(WriteCompare, WhatCannotBeLookedAtIsNotWritten) {
  WriteBench bench({.badSectors = {{9000, ENODATA}}});
  bench.ExpectUntouched(kTestNotApplicable,
                        "|WHAT_THE_DISK_HOLDS_AT_|L|B|A_8960_COULD_NOT_BE_READ,_NOTHING_WAS_"
                        "WRITTEN,_ERROR_61_(CRITICAL_MEDIUM_ERROR)");
  WriteBench gone({.vanishAfter = 2});
  gone.ExpectUntouched(kTestFailed, "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_256");
}

TEST(WriteCompare, ParametersThatDoNotFitTheDiskAreInvalid) {
  WriteBench bench;
  for (const auto& [name, value] : {std::pair{"first_lba", "16384"},
                                    {"last_lba", "16384"},
                                    {"passes", "1"},
                                    {"passes", "17"}}) {
    bench.ExpectUntouched(kTestInvalid, std::string("|INVALID_VALUE_OF_PARAMETER_") + name,
                          {{"destructive", "TRUE"}, {name, value}});
  }
  WriteBench empty({}, {0, 512, 512});
  empty.ExpectUntouched(kTestNotApplicable, "|THE_DISK_HAS_NO_CAPACITY");
}

TEST(WriteCompare, NoDiskIsNotApplicable) {
  WriteBench bench;
  const auto diagnostics = MakeDiagnostics({&bench.machine});
  sdk::testing::RememberingContext context(nullptr, kForced);
  EXPECT_EQ(sdk::testing::FindTest(diagnostics, "E", "w").run(context).status, kTestNotApplicable);
}

TEST(WriteCompare, TellsEachFaultWithItsPlace) {
  struct Row {
    MediumFaults faults;
    std::string message;
    std::string found;
    std::string where;
  };
  const std::string kPass = "1 of 2 passes, 8388608 bytes written, 8388608 bytes compared, ";
  const std::vector<Row> rows = {
      {{.misplacedWrites = {{7000, 100}}},
       "|WRONG_SECTORS:_FIRST_|L|B|A_100,_COUNT_2,_SECTORS_100,_7000;_THE_FIRST_HOLDS_THE_PATTERN_"
       "OF_|L|B|A_7000_OF_PASS_1",
       kPass + "2 wrong sectors (1 zeros, 1 of another address)",
       "LBA 100, 7000"},
      {{.lostWrites = {55}},
       "|WRONG_SECTORS:_FIRST_|L|B|A_55,_COUNT_1,_SECTORS_55;_THE_FIRST_HOLDS_ZEROS",
       kPass + "1 wrong sectors (1 zeros)",
       "LBA 55"},
      {{.realSectors = 10000},
       "|WRONG_SECTORS:_FIRST_|L|B|A_0,_COUNT_6384,_SECTORS_0-6383;_THE_FIRST_HOLDS_THE_PATTERN_OF_"
       "|L|B|A_10000_OF_PASS_1._|THE_DISK_REPEATS_ITSELF_AFTER_10000_SECTORS,_SO_ITS_CAPACITY_IS_"
       "NOT_WHAT_IT_SAYS",
       kPass + "6384 wrong sectors (6384 of another address)",
       "LBA 0-6383"},
      {{.failingWrites = {{300, EIO}}},
       "|UNWRITABLE_SECTORS:_FIRST_|L|B|A_300,_COUNT_1,_ERROR_5_(INPUT/OUTPUT_ERROR),_SECTORS_300",
       "1 of 2 passes, 8388096 bytes written, 8388608 bytes compared, 1 unwritable sectors",
       "LBA 300"},
      {{.breakingWrites = {{301, ENODATA}}},
       "|UNREADABLE_SECTORS:_FIRST_|L|B|A_301,_COUNT_1,_ERROR_61_(CRITICAL_MEDIUM_ERROR),_SECTORS_"
       "301",
       "1 of 2 passes, 8388608 bytes written, 8388096 bytes compared, 1 unreadable sectors",
       "LBA 301"},
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

TEST(WriteCompare, MeasuresWhatItDid) {
  WriteBench bench({.failingWrites = {{300, EIO}}});
  bench.Run();
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
