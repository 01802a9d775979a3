#include "service/modules/storage/words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "service/sdk/message_key.h"
#include "service/sdk/read_errors.h"

namespace orvan::storage::words {
namespace {

using sdk::Verdict;

constexpr std::size_t kRangesInMessage = 8;
constexpr std::size_t kRangesInLog = 256;
constexpr std::size_t kUnreadInText = 4;
constexpr char kReaderStoodStill[] =
    "|THE_DISK_READER_WAS_STOPPED_OR_GOT_NO_PROCESSOR_FOR_TOO_LONG";

struct ErrorRow {
  int error;
  const char* text;
};

}  // namespace

std::string AsKey(std::string text) {
  std::replace(text.begin(), text.end(), ' ', '_');
  return text;
}

std::string LbaKey(std::uint64_t lba) {
  return "|L|B|A_" + std::to_string(lba);
}

std::string NumberedErrorKey(int error) {
  return sdk::KeyOf(ErrorText(error));
}

std::string SecondsKey(std::chrono::seconds seconds) {
  return std::to_string(seconds.count()) + (seconds.count() == 1 ? "_SECOND" : "_SECONDS");
}

namespace {

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

std::string ErrorWords(int error) {
  static constexpr std::array<ErrorRow, 25> kRows = {{
      {EIO, "input/output error"},
      {ENODATA, "critical medium error"},
      {ETIMEDOUT, "timeout"},
      {EREMOTEIO, "critical target error"},
      {ENOLINK, "transport error"},
      {EILSEQ, "protection error"},
      {ETIME, "command duration limit"},
      {EBADE, "reservation conflict"},
      {ENODEV, "no such device"},
      {ENXIO, "no such device or address"},
      {ENOENT, "no such file"},
      {ENOMEM, "out of memory"},
      {ENOSYS, "not supported by this kernel"},
      {EINVAL, "invalid argument"},
      {EPERM, "operation not permitted"},
      {EACCES, "permission denied"},
      {EBUSY, "device or resource busy"},
      {EMFILE, "too many open files"},
      {ENFILE, "too many open files in the system"},
      {ELOOP, "too many links"},
      {EINTR, "interrupted"},
      {EPROTO, "protocol error"},
      {EPIPE, "broken pipe"},
      {EAGAIN, "resource temporarily unavailable"},
      {sdk::kNotRecorded, "not in the recording"},
  }};
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [error](const ErrorRow& entry) { return entry.error == error; });
  return row == kRows.end() ? "unknown error" : row->text;
}

std::string ErrorText(int error) {
  if (error == 0) return "no usable value";
  return "error " + std::to_string(error) + " (" + ErrorWords(error) + ')';
}

std::string UnreadText(const DiskFacts& facts) {
  std::string text;
  for (std::size_t i = 0; i < facts.unread.size() && i < kUnreadInText; ++i) {
    const sdk::FileTrouble& trouble = facts.unread[i];
    text += (i == 0 ? "" : ", ") + trouble.path + ": " + ErrorText(trouble.error);
  }
  if (facts.unread.size() > kUnreadInText) text += ", ...";
  if (text.empty() && !facts.disorderedBy.empty()) text = "the place of " + facts.disorderedBy;
  return text;
}

std::optional<std::string> UntestableKey(const DiskFacts& facts) {
  if (!facts.unread.empty()) {
    const sdk::FileTrouble& trouble = facts.unread.front();
    return "|THE_DISK_COULD_NOT_BE_LOOKED_AT:_" + AsKey(trouble.path) + ",_" +
           NumberedErrorKey(trouble.error);
  }
  if (facts.disorderedBy.empty()) return {};
  return "|THE_PLACE_OF_DISK_" + facts.disorderedBy +
         "_COULD_NOT_BE_MADE_OUT,_SO_ALL_IDS_ARE_IN_DOUBT";
}

std::string TextKey(std::string_view text) {
  std::string key;
  for (const char byte : text) {
    if (byte >= 'A' && byte <= 'Z') key += '|';
    key += byte == '|' ? '/' : byte;
  }
  return sdk::KeyOf(std::move(key));
}

std::string SentenceKey(std::string text) {
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  }
  return TextKey(text);
}

std::string FirstBadSectorKey(std::uint64_t lba) {
  return "|UNREADABLE_SECTOR_AT_" + LbaKey(lba);
}

Verdict NoAnswerVerdict(DriveAnswer::Kind kind, const std::string& reason) {
  using Kind = DriveAnswer::Kind;
  const std::string key = SentenceKey(reason);
  switch (kind) {
    case Kind::kCanceled:
      return Verdict::Canceled();
    case Kind::kNotSupported:
      return Verdict::NotApplicable(key);
    case Kind::kGone:
      return Verdict::Failed(key, "the drive answers", reason, "");
    case Kind::kFailed:
    case Kind::kGarbage:
    case Kind::kTimedOut:
      return Verdict::Warning("|THE_DRIVE_CANNOT_TELL:_" + TextKey(reason));
    case Kind::kNotNow:
    case Kind::kNoPrivilege:
    case Kind::kNotTried:
    case Kind::kDone:
      break;
  }
  return Verdict::Invalid(key);
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
