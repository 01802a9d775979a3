#include <gtest/gtest.h>

#include <cerrno>

#include "service/modules/storage/write_test_support.h"
#include "service/modules/storage/write_words.h"
#include "service/modules/storage/written_pattern.h"

// What keeps the write test from a disk.
namespace orvan::storage {
namespace {

using sdk::WriteRefusal;
using sdk::testing::FaultyDisk;

constexpr char kNotAsked[] =
    "|THIS_TEST_DESTROYS_ALL_DATA_ON_THE_DISK._|ASK_FOR_IT_WITH_W(DESTRUCTIVE=YES)";

TEST(WriteRefusals, NothingIsTouchedUnlessItIsAskedFor) {
  WriteBench bench;
  bench.machine.disks.clear();  // not even opened
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {});
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {{"destructive", "FALSE"}});
  bench.ExpectUntouched(kTestNotApplicable, kNotAsked, {{"overwrite", "TRUE"}});
}

TEST(WriteRefusals, WhatIsKnownToBeOnItKeepsItFromBeingOpened) {
  WriteBench bench;
  bench.machine.disks.clear();
  const std::string begin = "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_";
  bench.partitions.emplace_back().index = 1;
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_PARTITION", kForced);
  bench.partitions[0].fileSystem = "BTRFS_4";
  bench.partitions[0].mountPoint = "/Home";
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_PARTITION_(|B|T|R|F|S_4),_MOUNTED_AT_/|HOME",
                        kForced);
  bench.partitions = {Partition()};
  bench.partitions[0].fileSystem = "xfs";
  bench.ExpectUntouched(kTestNotApplicable, begin + "A_FILE_SYSTEM_(XFS)", kForced);
  // No other disk is looked at for it, and this one again each time.
  EXPECT_EQ(bench.looks, std::vector(3, ContentLook::kThis));
}

TEST(WriteRefusals, ADiskThatIsNotToBeWrittenIsNotLookedAt) {
  WriteBench bench;
  bench.ExpectUntouched(kTestNotApplicable, words::kNotAskedToWrite, {});
  EXPECT_TRUE(bench.looks.empty());
}

// It refuses a second write to a sector, which is no fault of its surface.
TEST(WriteRefusals, ADiskOfZonesThatAreWrittenInOrderIsLeftAlone) {
  const sdk::BlockGeometry geometry{kWriteSectors * 512, 512, 512};
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

TEST(WriteRefusals, WhatBeganSinceTheScanKeepsItFromBeingWritten) {
  struct Row {
    WriteRefusal refusal;
    int error;
    TestStatus status;
    std::string message;
  };
  const std::string inUse = "|THE_DISK_IS_IN_USE,_NOTHING_WAS_WRITTEN:_";
  const std::vector<Row> rows = {
      {WriteRefusal::kMounted, 0, kTestNotApplicable, inUse + "MOUNTED_AT_/MNT/|A_B"},
      {WriteRefusal::kSwap, 0, kTestNotApplicable, inUse + "SWAP_SPACE"},
      {WriteRefusal::kHeld, 0, kTestNotApplicable, inUse + "A_PART_OF_/MNT/|A_B"},
      {WriteRefusal::kBusy, EBUSY, kTestNotApplicable, inUse + "SOMEBODY_HOLDS_IT"},
      {WriteRefusal::kHoldsData, 0, kTestNotApplicable,
       "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_/MNT/|A_B"},
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
    FaultyDisk& disk = bench.machine.disks[kWritePath];
    disk.refusal = row.refusal;
    disk.refusalError = row.error;
    disk.user = "/mnt/A b";
    bench.ExpectUntouched(row.status, row.message, kForced);
  }
}

TEST(WriteRefusals, ASignatureThatCameSinceTheScanKeepsItFromBeingWritten) {
  WriteBench bench;
  bench.machine.fileSystems[kWritePath].tableType = "gpt";
  bench.ExpectUntouched(kTestNotApplicable,
                        "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_GPT", kForced);
}

TEST(WriteRefusals, AnotherDiskUnderItsNameIsNotWritten) {
  WriteBench bench;
  bench.machine.disks[kWritePath].diskSequence = 30;
  bench.ExpectUntouched(kTestInvalid, "|THE_DISK_IS_NOT_THERE_ANY_MORE", kForced);
}

std::string UnnamedKey(std::uint64_t lba) {
  return "|NOTHING_WAS_WRITTEN:_THE_DISK_HOLDS_DATA_THAT_NO_SIGNATURE_NAMES,_AT_|L|B|A_" +
         std::to_string(lba) +
         "._|TO_HAVE_IT_WRITTEN_OVER_ASK_FOR_W(DESTRUCTIVE=YES,OVERWRITE=YES)";
}

TEST(WriteRefusals, DataThatNoSignatureNamesIsWrittenOverOnlyWhenThatIsAskedForToo) {
  for (const std::uint64_t lba : {std::uint64_t{0}, std::uint64_t{2047}, std::uint64_t{9000},
                                  kWriteSectors - 2048, kWriteSectors - 1}) {
    WriteBench bench;
    bench.Put(lba, std::byte{0x5A});
    bench.ExpectUntouched(kTestNotApplicable, UnnamedKey(lba));
    EXPECT_EQ(bench.Run(kForced).status, kTestPassed);
  }
}

TEST(WriteRefusals, OfALargeDiskPlacesAllOverItAreLookedAt) {
  constexpr std::uint64_t kLarge = (std::uint64_t{1} << 30) / 512;
  // The last two lie in the first and the last MiB alone.
  for (const std::uint64_t lba :
       {kLarge / 256 * 255, kLarge / 256 * 77 + 127, std::uint64_t{2047}, kLarge - 2048}) {
    WriteBench bench({}, {kLarge * 512, 512, 512});
    bench.Put(lba, std::byte{1});
    bench.ExpectUntouched(kTestNotApplicable, UnnamedKey(lba));
  }
}

TEST(WriteRefusals, WhatAnErasedDiskOrAnEarlierRunLeavesIsNobodysData) {
  WriteBench bench;
  bench.Put(5, std::byte{0xFF});
  EXPECT_EQ(bench.Run().status, kTestPassed);
  EXPECT_EQ(bench.Run().status, kTestPassed);
}

TEST(WriteRefusals, WhatCannotBeLookedAtIsNotWritten) {
  WriteBench bench({.badSectors = {{9000, ENODATA}}});
  bench.ExpectUntouched(kTestNotApplicable,
                        "|WHAT_THE_DISK_HOLDS_AT_|L|B|A_8960_COULD_NOT_BE_READ,_NOTHING_WAS_"
                        "WRITTEN,_ERROR_61_(CRITICAL_MEDIUM_ERROR)");
  WriteBench gone({.vanishAfter = 2});
  gone.ExpectUntouched(kTestFailed, "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_256");
}

TEST(WriteRefusals, ParametersThatDoNotFitTheDiskAreInvalid) {
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

TEST(WriteRefusals, NoDiskIsNotApplicable) {
  WriteBench bench;
  const auto diagnostics = MakeDiagnostics({&bench.machine});
  sdk::testing::RememberingContext context(nullptr, kForced);
  EXPECT_EQ(sdk::testing::FindTest(diagnostics, "E", "w").run(context).status, kTestNotApplicable);
}

}  // namespace
}  // namespace orvan::storage
