#include "service/modules/storage/surface_words.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;

sdk::Verdict VerdictOf(SurfaceResult result, bool promisesAll = false) {
  return words::SurfaceVerdict(result, 100, 30s, promisesAll);
}

SurfaceResult ResultOf(SurfaceEnd end, std::initializer_list<std::uint64_t> bad = {}) {
  SurfaceResult result;
  result.end = end;
  for (const std::uint64_t lba : bad) result.bad.Add(lba, EIO);
  result.endLba = 4096;
  return result;
}

TEST(SurfaceVerdict, PassesOnlyACompleteRunWithoutBadSectors) {
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kComplete)).status, kTestPassed);
  for (const SurfaceEnd end :
       {SurfaceEnd::kStopped, SurfaceEnd::kHung, SurfaceEnd::kVanished, SurfaceEnd::kReaderLost,
        SurfaceEnd::kReaderStalled, SurfaceEnd::kOwnFault}) {
    EXPECT_NE(VerdictOf(ResultOf(end)).status, kTestPassed);
  }
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kComplete, {1})).status, kTestFailed);
}

TEST(SurfaceVerdict, NamesFirstLbaCountErrorAndSectors) {
  const sdk::Verdict verdict = VerdictOf(ResultOf(SurfaceEnd::kComplete, {2048, 2049, 5000}));
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_2048,_COUNT_3,_ERROR_5_(INPUT/OUTPUT_ERROR),"
            "_SECTORS_2048-2049,_5000");
  EXPECT_EQ(verdict.where, "LBA 2048-2049, 5000");
  EXPECT_EQ(verdict.expected, "every sector can be read");
  EXPECT_EQ(verdict.found, "0 of 100 blocks, 0 bytes readable, 3 unreadable sectors");
}

TEST(SurfaceVerdict, SaysThatThereAreMoreWhenNotAllWereNarrowed) {
  SurfaceResult result = ResultOf(SurfaceEnd::kComplete, {1});
  result.unnarrowedBlocks = 5;
  EXPECT_EQ(VerdictOf(result).message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_1,_COUNT_OVER_1,_ERROR_5_(INPUT/OUTPUT_ERROR),"
            "_SECTORS_1");
}

TEST(SurfaceVerdict, NamesTheFirstBlockWhereNoSectorWasReadByItself) {
  SurfaceResult result = ResultOf(SurfaceEnd::kReaderLost);
  result.unnarrowedBlocks = 2;
  result.firstUnnarrowedLba = 128;
  result.firstUnnarrowedError = EIO;
  const sdk::Verdict verdict = VerdictOf(result);
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.message,
            "|UNREADABLE_BLOCKS:_FIRST_AT_|L|B|A_128,_COUNT_2,_ERROR_5_(INPUT/OUTPUT_ERROR)."
            "_|THE_DISK_READER_ENDED_UNEXPECTEDLY");
  EXPECT_EQ(verdict.where, "block at LBA 128");
  EXPECT_EQ(verdict.found, "0 of 100 blocks, 0 bytes readable, 2 unreadable blocks");
}

TEST(SurfaceVerdict, SaysWhatWasReadAtTheSecondTry) {
  SurfaceResult result = ResultOf(SurfaceEnd::kComplete);
  result.secondTryBlocks = 3;
  EXPECT_EQ(VerdictOf(result).status, kTestPassed);
  EXPECT_EQ(VerdictOf(result).message, "3_BLOCKS_WERE_READ_AT_THE_SECOND_TRY");
  EXPECT_EQ(VerdictOf(result).found,
            "0 of 100 blocks, 0 bytes readable, 3 blocks were read at the second try");
  result.end = SurfaceEnd::kTimeCap;
  result.secondTryBlocks = 1;
  EXPECT_EQ(VerdictOf(result).message,
            "|TIME_IS_UP:_0_OF_100_BLOCKS_READ._1_BLOCK_WAS_READ_AT_THE_SECOND_TRY");
  SurfaceResult once = ResultOf(SurfaceEnd::kComplete);
  once.secondTryBlocks = 1;
  EXPECT_TRUE(VerdictOf(once).found.ends_with(", 1 block was read at the second try"));
}

TEST(SurfaceVerdict, AHangAndAVanishedDiskFailInTheirOwnWords) {
  const sdk::Verdict hung = VerdictOf(ResultOf(SurfaceEnd::kHung));
  EXPECT_EQ(hung.status, kTestFailed);
  EXPECT_EQ(hung.message, "|A_READ_AT_|L|B|A_4096_DID_NOT_COME_BACK_WITHIN_30_SECONDS");
  EXPECT_EQ(hung.where, "LBA 4096");
  const sdk::Verdict gone = VerdictOf(ResultOf(SurfaceEnd::kVanished));
  EXPECT_EQ(gone.status, kTestFailed);
  EXPECT_EQ(gone.message, "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_4096");
}

TEST(SurfaceVerdict, BadSectorsBeforeAHangAreNotForgotten) {
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kHung, {7})).message,
            "|UNREADABLE_SECTORS:_FIRST_|L|B|A_7,_COUNT_1,_ERROR_5_(INPUT/OUTPUT_ERROR),_SECTORS_7."
            "_|A_READ_AT_|L|B|A_4096_DID_NOT_COME_BACK_WITHIN_30_SECONDS");
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kReaderLost, {7})).status, kTestFailed);
}

TEST(SurfaceVerdict, AStopIsCanceledEvenWithBadSectors) {
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kStopped)).status, kTestCanceled);
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kStopped)).message, "");
  const sdk::Verdict verdict = VerdictOf(ResultOf(SurfaceEnd::kStopped, {7}));
  EXPECT_EQ(verdict.status, kTestCanceled);
  EXPECT_EQ(verdict.where, "LBA 7");
  EXPECT_TRUE(VerdictOf(ResultOf(SurfaceEnd::kStopped, {7}))
                  .message.ends_with("._|STOPPED_BEFORE_ALL_WAS_READ"));
}

TEST(SurfaceVerdict, OurOwnFaultIsInvalid) {
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kReaderLost)).status, kTestInvalid);
  const sdk::Verdict stalled = VerdictOf(ResultOf(SurfaceEnd::kReaderStalled));
  EXPECT_EQ(stalled.status, kTestInvalid);
  EXPECT_EQ(stalled.message, "|THE_DISK_READER_WAS_STOPPED_OR_GOT_NO_PROCESSOR_FOR_TOO_LONG");
  EXPECT_EQ(VerdictOf(ResultOf(SurfaceEnd::kOwnFault)).status, kTestInvalid);
}

TEST(SurfaceVerdict, TimeThatIsUpPassesASampleAndWarnsWhereAllWasPromised) {
  SurfaceResult result = ResultOf(SurfaceEnd::kTimeCap);
  result.blocksRead = 40;
  EXPECT_EQ(VerdictOf(result).status, kTestPassed);
  EXPECT_EQ(VerdictOf(result, true).status, kTestWarning);
  EXPECT_EQ(VerdictOf(result, true).message, "|TIME_IS_UP:_40_OF_100_BLOCKS_READ");
}

TEST(SurfaceVerdict, ReadsThatFailedWhenTheDiskVanishedAreToldAsPartOfThat) {
  SurfaceResult result = ResultOf(SurfaceEnd::kVanished);
  EXPECT_EQ(VerdictOf(result).message, "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_4096");
  result.lastFailures = 1;
  EXPECT_EQ(VerdictOf(result).message,
            "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_4096,_AFTER_1_READ_HAD_FAILED");
  result.lastFailures = 3;
  const sdk::Verdict verdict = VerdictOf(result);
  EXPECT_EQ(verdict.message,
            "|THE_DISK_VANISHED_WHILE_READING_AT_|L|B|A_4096,_AFTER_3_READS_HAD_FAILED");
  EXPECT_EQ(verdict.status, kTestFailed);
  EXPECT_EQ(verdict.where, "LBA 4096");
}

TEST(OpenVerdict, TellsAnErrorWithoutWordsOfItsOwnAsAKey) {
  sdk::OpenedReader opened;
  opened.failure = sdk::OpenFailure::kDevice;
  opened.error = EIO;
  EXPECT_EQ(words::OpenVerdict(opened, std::chrono::seconds(1)).message,
            "|THE_DISK_COULD_NOT_BE_OPENED,_ERROR_5_(INPUT/OUTPUT_ERROR)");
}

struct OpenCase {
  sdk::OpenFailure failure;
  int error;
  TestStatus status;
  const char* message;
};

TEST(OpenVerdict, EachFailureHasItsWordsAndItsStatus) {
  using sdk::OpenFailure;
  const OpenCase cases[] = {
      {OpenFailure::kStopped, 0, kTestCanceled, ""},
      {OpenFailure::kHung, 0, kTestFailed, "|OPENING_THE_DISK_DID_NOT_COME_BACK_WITHIN_1_SECOND"},
      {OpenFailure::kStalled, 0, kTestInvalid,
       "|THE_DISK_READER_WAS_STOPPED_OR_GOT_NO_PROCESSOR_FOR_TOO_LONG"},
      {OpenFailure::kReader, ENOENT, kTestInvalid,
       "|THE_DISK_READER_COULD_NOT_BE_STARTED,_ERROR_2_(NO_SUCH_FILE)"},
      {OpenFailure::kReader, EPERM, kTestInvalid,
       "|THE_KERNEL_FORBIDS_THE_DISK_READER'S_INTERFACE_(IO_URING),_ERROR_1_"
       "(OPERATION_NOT_PERMITTED)"},
      {OpenFailure::kReader, ENOSYS, kTestInvalid,
       "|THE_KERNEL_FORBIDS_THE_DISK_READER'S_INTERFACE_(IO_URING),_ERROR_38_"
       "(NOT_SUPPORTED_BY_THIS_KERNEL)"},
      {OpenFailure::kDevice, EACCES, kTestInvalid, "|NO_PERMISSION_TO_OPEN_THE_DISK"},
      {OpenFailure::kDevice, EPERM, kTestInvalid, "|NO_PERMISSION_TO_OPEN_THE_DISK"},
      {OpenFailure::kDevice, EBUSY, kTestInvalid, "|THE_DISK_IS_IN_USE_AND_CANNOT_BE_OPENED"},
      {OpenFailure::kDevice, ENODEV, kTestInvalid, "|THE_DISK_IS_NOT_THERE_ANY_MORE"},
      {OpenFailure::kDevice, ENXIO, kTestInvalid, "|THE_DISK_IS_NOT_THERE_ANY_MORE"},
      {OpenFailure::kDevice, ENOMEDIUM, kTestNotApplicable, "|NO_MEDIUM_IN_THE_DRIVE"},
      {OpenFailure::kDevice, 9999, kTestInvalid,
       "|THE_DISK_COULD_NOT_BE_OPENED,_ERROR_9999_(UNKNOWN_ERROR)"},
  };
  for (const OpenCase& row : cases) {
    const sdk::Verdict verdict = words::OpenVerdict({nullptr, row.failure, row.error}, 1s);
    EXPECT_EQ(verdict.status, row.status) << row.message;
    EXPECT_EQ(verdict.message, row.message);
  }
}

}  // namespace
}  // namespace orvan::storage
