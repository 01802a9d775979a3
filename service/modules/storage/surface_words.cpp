#include "service/modules/storage/surface_words.h"

#include <cerrno>

#include "service/modules/storage/words.h"
#include "service/sdk/message_key.h"

namespace orvan::storage::words {
namespace {

using sdk::Verdict;

constexpr std::size_t kRangesInMessage = 8;
constexpr std::size_t kRangesInLog = 256;
constexpr char kReaderStoodStill[] =
    "|THE_DISK_READER_WAS_STOPPED_OR_GOT_NO_PROCESSOR_FOR_TOO_LONG";

// "|UNREADABLE_SECTORS:_FIRST_|L|B|A_2048,_COUNT_3,_ERROR_5_(INPUT/OUTPUT_ERROR),_SECTORS_..."
// Where no sector was read by itself, the same of the blocks: "|UNREADABLE_BLOCKS:_..."
std::string BadKey(const SurfaceResult& result) {
  const BadRanges& bad = result.bad;
  if (bad.IsEmpty()) {
    return "|UNREADABLE_BLOCKS:_FIRST_AT_" + LbaKey(result.firstUnnarrowedLba) + ",_COUNT_" +
           std::to_string(result.unnarrowedBlocks) + ",_" +
           NumberedErrorKey(result.firstUnnarrowedError);
  }
  const bool isMore = result.unnarrowedBlocks > 0;
  return "|UNREADABLE_SECTORS:_FIRST_" + LbaKey(bad.FirstLba()) + ",_COUNT_" +
         (isMore ? "OVER_" : "") + std::to_string(bad.Total()) + ",_" +
         NumberedErrorKey(bad.FirstError()) + ",_SECTORS_" + AsKey(bad.Text(kRangesInMessage));
}

std::string LastFailuresKey(const SurfaceResult& result) {
  if (result.lastFailures == 0) return {};
  return ",_AFTER_" + std::to_string(result.lastFailures) +
         (result.lastFailures == 1 ? "_READ_HAD_FAILED" : "_READS_HAD_FAILED");
}

// Why reading did not come to its end, as the second half of a sentence; empty when it did.
std::string EndKey(const SurfaceResult& result, std::chrono::seconds timeLimit) {
  const std::string at = "_AT_" + LbaKey(result.endLba);
  switch (result.end) {
    case SurfaceEnd::kHung:
      return "|A_READ" + at + "_DID_NOT_COME_BACK_WITHIN_" + SecondsKey(timeLimit);
    case SurfaceEnd::kVanished:
      return "|THE_DISK_VANISHED_WHILE_READING" + at + LastFailuresKey(result);
    case SurfaceEnd::kReaderLost:
      return "|THE_DISK_READER_ENDED_UNEXPECTEDLY";
    case SurfaceEnd::kReaderStalled:
      return kReaderStoodStill;
    case SurfaceEnd::kOwnFault:
      return "|READING" + at + "_COULD_NOT_BE_TRIED,_" + NumberedErrorKey(result.endError);
    case SurfaceEnd::kStopped:
      return "|STOPPED_BEFORE_ALL_WAS_READ";
    case SurfaceEnd::kComplete:
    case SurfaceEnd::kTimeCap:
      break;
  }
  return {};
}

std::string SecondTryText(std::uint64_t blocks) {
  return std::to_string(blocks) + (blocks == 1 ? " block was" : " blocks were") +
         " read at the second try";
}

// "3_BLOCKS_WERE_READ_AT_THE_SECOND_TRY", of a run that passes; empty when there were none.
std::string SecondTryKey(const SurfaceResult& result) {
  return result.secondTryBlocks == 0 ? "" : sdk::KeyOf(SecondTryText(result.secondTryBlocks));
}

std::string ReadText(const SurfaceResult& result, std::uint64_t plannedBlocks) {
  std::string text = std::to_string(result.blocksRead) + " of " + std::to_string(plannedBlocks) +
                     " blocks, " + std::to_string(result.bytesRead) + " bytes readable";
  if (!result.bad.IsEmpty()) {
    text += ", " + std::to_string(result.bad.Total()) + " unreadable sectors";
  }
  if (result.unnarrowedBlocks > 0) {
    text += ", " + std::to_string(result.unnarrowedBlocks) + (result.bad.IsEmpty() ? "" : " more") +
            " unreadable blocks";
  }
  if (result.secondTryBlocks > 0) text += ", " + SecondTryText(result.secondTryBlocks);
  return text;
}

// "3.0": in tenths, as a person reads it.
std::string TenthsText(std::chrono::nanoseconds time) {
  const auto tenths = time.count() / 100000000;
  return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10);
}

// "|SLOW_ANSWERS:_COUNT_2,_SLOWEST_27.1_SECONDS_AT_|L|B|A_2048,_SECTORS_2048-2175,_4096-4223"
std::string SlowKey(const SlowAnswers& slow) {
  return "|SLOW_ANSWERS:_COUNT_" + std::to_string(slow.count) + ",_SLOWEST_" +
         TenthsText(slow.slowest) + "_SECONDS_AT_" + LbaKey(slow.slowestLba) + ",_SECTORS_" +
         AsKey(slow.sectors.Text(kRangesInMessage));
}

// One sentence behind another; either may be empty.
std::string Joined(const std::string& first, const std::string& second) {
  return first + (first.empty() || second.empty() ? "" : "._") + second;
}

// A disk that answers late is no fault that was found, and no pass either.
void AddSlowAnswers(const SurfaceResult& result, Verdict& verdict) {
  const SlowAnswers& slow = result.slow;
  if (slow.count == 0) return;
  verdict.message = verdict.status == kTestFailed ? Joined(verdict.message, SlowKey(slow))
                                                  : Joined(SlowKey(slow), verdict.message);
  verdict.found +=
      ", " + std::to_string(slow.count) + (slow.count == 1 ? " slow answer" : " slow answers");
  if (verdict.status == kTestPassed) verdict.status = kTestWarning;
  if (verdict.where.empty()) verdict.where = "LBA " + slow.sectors.Text(kRangesInLog);
}

std::string TimeCapKey(const SurfaceResult& result, std::uint64_t plannedBlocks) {
  return "|TIME_IS_UP:_" + std::to_string(result.blocksRead) + "_OF_" +
         std::to_string(plannedBlocks) + "_BLOCKS_READ";
}

}  // namespace

std::string FirstBadSectorKey(std::uint64_t lba) {
  return "|UNREADABLE_SECTOR_AT_" + LbaKey(lba);
}

Verdict OpenVerdict(const sdk::OpenedReader& opened, std::chrono::seconds timeLimit) {
  using sdk::OpenFailure;
  switch (opened.failure) {
    case OpenFailure::kStopped:
      return Verdict::Canceled();
    case OpenFailure::kHung:
      return Verdict::Failed("|OPENING_THE_DISK_DID_NOT_COME_BACK_WITHIN_" + SecondsKey(timeLimit),
                             "the disk opens", "no answer", "open");
    case OpenFailure::kStalled:
      return Verdict::Invalid(kReaderStoodStill);
    case OpenFailure::kReader:
      // A security policy refuses io_uring with EPERM; a kernel built without it has no such call.
      if (opened.error == EPERM || opened.error == ENOSYS) {
        return Verdict::Invalid("|THE_KERNEL_FORBIDS_THE_DISK_READER'S_INTERFACE_(IO_URING),_" +
                                NumberedErrorKey(opened.error));
      }
      return Verdict::Invalid("|THE_DISK_READER_COULD_NOT_BE_STARTED,_" +
                              NumberedErrorKey(opened.error));
    case OpenFailure::kDevice:
    case OpenFailure::kNone:
      break;
  }
  switch (opened.error) {
    case ENOMEDIUM:
      return Verdict::NotApplicable(kNoMedium);
    case EACCES:
    case EPERM:
      return Verdict::Invalid("|NO_PERMISSION_TO_OPEN_THE_DISK");
    case EBUSY:
      return Verdict::Invalid("|THE_DISK_IS_IN_USE_AND_CANNOT_BE_OPENED");
    case ENOENT:
    case ENODEV:
    case ENXIO:
      return Verdict::Invalid("|THE_DISK_IS_NOT_THERE_ANY_MORE");
    default:
      return Verdict::Invalid("|THE_DISK_COULD_NOT_BE_OPENED,_" + NumberedErrorKey(opened.error));
  }
}

Verdict SurfaceVerdict(const SurfaceResult& result, std::uint64_t plannedBlocks,
                       std::chrono::seconds timeLimit, bool promisesAll) {
  const std::string ending = EndKey(result, timeLimit);
  const bool isBad = !result.bad.IsEmpty() || result.unnarrowedBlocks > 0;
  const bool isDiskFault =
      isBad || result.end == SurfaceEnd::kHung || result.end == SurfaceEnd::kVanished;
  std::string message = isBad ? BadKey(result) : ending;
  if (isBad && !ending.empty()) message += "._" + ending;
  Verdict verdict;
  if (result.end == SurfaceEnd::kStopped) {
    verdict = Verdict::Canceled();
    verdict.message = isBad ? message : std::string();
  } else if (isDiskFault) {
    verdict.status = kTestFailed;
    verdict.message = message;
    verdict.expected = "every sector can be read";
  } else if (!ending.empty()) {
    verdict = Verdict::Invalid(message);
  } else if (result.end == SurfaceEnd::kTimeCap) {
    const std::string retried = SecondTryKey(result);
    const std::string cut =
        TimeCapKey(result, plannedBlocks) + (retried.empty() ? "" : "._" + retried);
    verdict = promisesAll ? Verdict::Warning(cut) : Verdict::Passed(cut);
  } else {
    verdict = Verdict::Passed(SecondTryKey(result));
  }
  verdict.found = ReadText(result, plannedBlocks);
  if (!result.bad.IsEmpty()) {
    verdict.where = "LBA " + result.bad.Text(kRangesInLog);
  } else if (isBad) {
    verdict.where = "block at LBA " + std::to_string(result.firstUnnarrowedLba);
  } else if (isDiskFault || !ending.empty()) {
    verdict.where = "LBA " + std::to_string(result.endLba);
  }
  AddSlowAnswers(result, verdict);
  return verdict;
}

}  // namespace orvan::storage::words
