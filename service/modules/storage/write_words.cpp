#include "service/modules/storage/write_words.h"

#include <cerrno>
#include <utility>
#include <vector>

#include "service/modules/storage/words.h"

namespace orvan::storage::words {
namespace {

using sdk::Verdict;
using sdk::WriteRefusal;

constexpr std::size_t kRangesInMessage = 8;
constexpr std::size_t kRangesInLog = 256;

Verdict NotWritten(const std::string& reason, std::string where = {}) {
  Verdict verdict = Verdict::NotApplicable(reason);
  verdict.where = std::move(where);
  return verdict;
}

Verdict DeviceVerdict(int error) {
  switch (error) {
    case ENOMEDIUM:
      return Verdict::NotApplicable(kNoMedium);
    case EROFS:
      return Verdict::NotApplicable("|THE_DISK_IS_PROTECTED_FROM_WRITING");
    case EACCES:
    case EPERM:
      return Verdict::Invalid("|NO_PERMISSION_TO_WRITE_TO_THE_DISK");
    case ENOENT:
    case ENODEV:
    case ENXIO:
      return Verdict::Invalid("|THE_DISK_IS_NOT_THERE_ANY_MORE");
    default:
      return Verdict::Invalid("|THE_DISK_COULD_NOT_BE_OPENED,_" + NumberedErrorKey(error));
  }
}

std::string SectorsKey(const char* what, const BadRanges& ranges) {
  return what + ("_SECTORS:_FIRST_" + LbaKey(ranges.FirstLba())) + ",_COUNT_" +
         std::to_string(ranges.Total());
}

std::string FailedKey(const char* what, const BadRanges& ranges) {
  return SectorsKey(what, ranges) + ",_" + NumberedErrorKey(ranges.FirstError()) + ",_SECTORS_" +
         AsKey(ranges.Text(kRangesInMessage));
}

// What stands in the first wrong sector, as the end of a sentence.
std::string FindingKey(const SectorFinding& finding) {
  const std::string pass = "_OF_PASS_" + std::to_string(finding.name.pass + 1);
  switch (finding.kind) {
    case SectorKind::kZeros:
      return "HOLDS_ZEROS";
    case SectorKind::kOnes:
      return "HOLDS_ONES";
    case SectorKind::kOtherAddress:
      return "HOLDS_THE_PATTERN_OF_" + LbaKey(finding.name.lba) + pass;
    case SectorKind::kOtherPass:
      return "HOLDS_ITS_PATTERN" + pass;
    case SectorKind::kOtherRun:
      return "HOLDS_THE_PATTERN_OF_" + LbaKey(finding.name.lba) + "_OF_AN_EARLIER_RUN";
    case SectorKind::kBits:
      return "HAS_" + std::to_string(finding.wrongBits) + "_WRONG_BITS,_THE_FIRST_IN_BYTE_" +
             std::to_string(finding.firstWrongByte);
    case SectorKind::kForeign:
    case SectorKind::kRight:
      break;
  }
  return "HOLDS_SOMETHING_ELSE";
}

std::string WrongKey(const WriteResult& result) {
  std::string key = SectorsKey("|WRONG", result.wrong) + ",_SECTORS_" +
                    AsKey(result.wrong.Text(kRangesInMessage)) + ";_THE_FIRST_" +
                    FindingKey(result.firstWrong);
  if (result.repeatsAfter > 0 && result.wrong.Total() > 1) {
    key += "._|THE_DISK_REPEATS_ITSELF_AFTER_" + std::to_string(result.repeatsAfter) +
           "_SECTORS,_SO_ITS_CAPACITY_IS_NOT_WHAT_IT_SAYS";
  }
  return key;
}

std::string StepKey(WriteStep step, bool isNoun) {
  switch (step) {
    case WriteStep::kWriting:
      return isNoun ? "|A_WRITE" : "WRITING";
    case WriteStep::kFlushing:
      return isNoun ? "|A_FLUSH" : "FLUSHING";
    case WriteStep::kReading:
      break;
  }
  return isNoun ? "|A_READ" : "READING";
}

// Why the run did not come to its end, as a sentence; empty when it did.
std::string EndKey(const WriteResult& result, const WritePlan& plan,
                   std::chrono::seconds timeLimit) {
  const std::string at = "_AT_" + LbaKey(result.endLba);
  switch (result.end) {
    case WriteEnd::kHung:
      return StepKey(result.endStep, true) + at + "_DID_NOT_COME_BACK_WITHIN_" +
             SecondsKey(timeLimit);
    case WriteEnd::kVanished: {
      const std::string before = ",_AFTER_" + std::to_string(result.lastFailures) +
                                 (result.lastFailures == 1 ? "_SECTOR" : "_SECTORS") +
                                 "_HAD_FAILED";
      return "|THE_DISK_VANISHED_WHILE_" + StepKey(result.endStep, false) + at +
             (result.lastFailures == 0 ? std::string() : before);
    }
    case WriteEnd::kFlushFailed:
      return "|THE_DISK_DID_NOT_KEEP_WHAT_WAS_WRITTEN:_FLUSHING_FAILED,_" +
             NumberedErrorKey(result.endError);
    case WriteEnd::kOwnFault:
      return "|" + StepKey(result.endStep, false) + at + "_COULD_NOT_BE_TRIED,_" +
             NumberedErrorKey(result.endError);
    case WriteEnd::kTooBad:
      return "|NO_MORE_WAS_TRIED,_FOR_TOO_MANY_SECTORS_FAILED";
    case WriteEnd::kTimeCap:
      return "|TIME_IS_UP:_" + std::to_string(result.sectorsCompared) + "_OF_" +
             std::to_string(result.sectorsPlanned) + "_SECTORS_COMPARED,_" +
             std::to_string(result.passesDone) + "_OF_" + std::to_string(plan.passes) +
             "_PASSES_DONE";
    case WriteEnd::kStopped:
    case WriteEnd::kComplete:
      break;
  }
  return {};
}

std::string Joined(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) {
    if (!sentence.empty()) text += (text.empty() ? "" : "._") + sentence;
  }
  return text;
}

std::string FoundText(const WriteResult& result, const WritePlan& plan) {
  std::string text = std::to_string(result.passesDone) + " of " + std::to_string(plan.passes) +
                     " passes, " + std::to_string(result.bytesWritten) + " bytes written, " +
                     std::to_string(result.bytesCompared) + " bytes compared";
  for (const auto& [what, ranges] :
       {std::pair{"unwritable", &result.unwritable}, std::pair{"unreadable", &result.unreadable},
        std::pair{"wrong", &result.wrong}}) {
    if (!ranges->IsEmpty())
      text += ", " + std::to_string(ranges->Total()) + ' ' + what + " sectors";
  }
  static constexpr std::pair<SectorKind, const char*> kKinds[] = {
      {SectorKind::kZeros, "zeros"},
      {SectorKind::kOnes, "ones"},
      {SectorKind::kOtherAddress, "of another address"},
      {SectorKind::kOtherPass, "of an earlier pass"},
      {SectorKind::kOtherRun, "of an earlier run"},
      {SectorKind::kBits, "with wrong bits"},
      {SectorKind::kForeign, "something else"}};
  std::string kinds;
  for (const auto& [kind, name] : kKinds) {
    const auto found = result.wrongKinds.find(kind);
    if (found == result.wrongKinds.end()) continue;
    kinds += (kinds.empty() ? "" : ", ") + std::to_string(found->second) + ' ' + name;
  }
  return kinds.empty() ? text : text + " (" + kinds + ')';
}

std::string WhereText(const WriteResult& result) {
  for (const BadRanges* ranges : {&result.wrong, &result.unwritable, &result.unreadable}) {
    if (!ranges->IsEmpty()) return "LBA " + ranges->Text(kRangesInLog);
  }
  const bool hasPlace = result.end == WriteEnd::kHung || result.end == WriteEnd::kVanished ||
                        result.end == WriteEnd::kOwnFault || result.end == WriteEnd::kStopped;
  return hasPlace ? "LBA " + std::to_string(result.endLba) : std::string();
}

}  // namespace

std::optional<Verdict> ContentRefusal(const std::vector<Partition>& partitions) {
  if (partitions.empty()) return {};
  const Partition& first = partitions.front();
  std::string what = first.index == 0 ? "A_FILE_SYSTEM" : "A_PARTITION";
  if (!first.fileSystem.empty()) what += "_(" + TextKey(first.fileSystem) + ')';
  if (!first.mountPoint.empty()) what += ",_MOUNTED_AT_" + TextKey(first.mountPoint);
  return NotWritten("|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_" + what,
                    first.mountPoint);
}

Verdict WriterVerdict(const sdk::OpenedWriter& opened, std::chrono::seconds timeLimit) {
  const std::string inUse = "|THE_DISK_IS_IN_USE,_NOTHING_WAS_WRITTEN:_";
  switch (opened.refusal) {
    case WriteRefusal::kMounted:
      return NotWritten(inUse + "MOUNTED_AT_" + TextKey(opened.user), opened.user);
    case WriteRefusal::kSwap:
      return NotWritten(inUse + "SWAP_SPACE", opened.user);
    case WriteRefusal::kHeld:
      return NotWritten(inUse + "A_PART_OF_" + TextKey(opened.user), opened.user);
    case WriteRefusal::kBusy:
      return NotWritten(inUse + "SOMEBODY_HOLDS_IT");
    case WriteRefusal::kHoldsData:
      return NotWritten(
          "|THE_DISK_IS_NOT_EMPTY,_NOTHING_WAS_WRITTEN:_IT_HOLDS_" + TextKey(opened.user),
          opened.user);
    case WriteRefusal::kUnknownUse:
      return NotWritten("|WHETHER_THE_DISK_IS_IN_USE_COULD_NOT_BE_FOUND_OUT,_" +
                        NumberedErrorKey(opened.error));
    case WriteRefusal::kUnknownContent:
      return NotWritten("|WHAT_THE_DISK_HOLDS_COULD_NOT_BE_FOUND_OUT,_" +
                        NumberedErrorKey(opened.error));
    case WriteRefusal::kHung:
      return Verdict::Failed("|OPENING_THE_DISK_DID_NOT_COME_BACK_WITHIN_" + SecondsKey(timeLimit),
                             "the disk opens", "no answer", "open");
    case WriteRefusal::kStopped:
      return Verdict::Canceled();
    case WriteRefusal::kDevice:
      return DeviceVerdict(opened.error);
    case WriteRefusal::kNotGranted:
      return Verdict::Invalid("|THE_TEST_WAS_NOT_ALLOWED_TO_WRITE");
    case WriteRefusal::kOwnFault:
    case WriteRefusal::kNone:
      break;
  }
  return Verdict::Invalid("|WRITING_COULD_NOT_BE_TRIED,_" + NumberedErrorKey(opened.error));
}

std::optional<Verdict> LookVerdict(const DataLook& look, std::chrono::seconds timeLimit) {
  const std::string at = "_AT_" + LbaKey(look.lba);
  const std::string where = "LBA " + std::to_string(look.lba);
  switch (look.kind) {
    case DataLook::Kind::kNothing:
      return {};
    case DataLook::Kind::kData:
      return NotWritten("|NOTHING_WAS_WRITTEN:_THE_DISK_HOLDS_DATA_THAT_NO_SIGNATURE_NAMES," + at +
                            "._|TO_HAVE_IT_WRITTEN_OVER_ASK_FOR_W(DESTRUCTIVE=YES,OVERWRITE=YES)",
                        where);
    case DataLook::Kind::kUnreadable:
      return NotWritten("|WHAT_THE_DISK_HOLDS" + at + "_COULD_NOT_BE_READ,_NOTHING_WAS_WRITTEN,_" +
                            NumberedErrorKey(look.error),
                        where);
    case DataLook::Kind::kHung:
      return Verdict::Failed("|A_READ" + at + "_DID_NOT_COME_BACK_WITHIN_" + SecondsKey(timeLimit),
                             "the disk can be read", "no answer", where);
    case DataLook::Kind::kVanished:
      return Verdict::Failed("|THE_DISK_VANISHED_WHILE_READING" + at, "the disk can be read",
                             "no disk", where);
    case DataLook::Kind::kStopped:
      return Verdict::Canceled();
    case DataLook::Kind::kOwnFault:
      break;
  }
  return Verdict::Invalid("|READING" + at + "_COULD_NOT_BE_TRIED,_" + NumberedErrorKey(look.error));
}

std::string WritingKey(const WritePlan& plan) {
  return "|WRITING_OVER_ALL_DATA_FROM_" + LbaKey(plan.firstLba) + "_TO_" + LbaKey(plan.lastLba) +
         "_IN_" + std::to_string(plan.passes) + "_PASSES,_RUN_" + std::to_string(plan.run);
}

std::string LeftBehindText(const WriteResult& result, const WritePlan& plan) {
  if (result.sectorsTouched == 0) return {};
  return "The disk holds the test pattern of run " + std::to_string(plan.run) + " from LBA " +
         std::to_string(plan.firstLba) + " to LBA " +
         std::to_string(plan.firstLba + result.sectorsTouched - 1) +
         "; what was there before is lost.";
}

Verdict WriteVerdict(const WriteResult& result, const WritePlan& plan,
                     std::chrono::seconds timeLimit) {
  const std::string ending = EndKey(result, plan, timeLimit);
  const std::string faults =
      Joined({result.wrong.IsEmpty() ? "" : WrongKey(result),
              result.unwritable.IsEmpty() ? "" : FailedKey("|UNWRITABLE", result.unwritable),
              result.unreadable.IsEmpty() ? "" : FailedKey("|UNREADABLE", result.unreadable)});
  const bool isDiskFault = !faults.empty() || result.end == WriteEnd::kHung ||
                           result.end == WriteEnd::kVanished ||
                           result.end == WriteEnd::kFlushFailed;
  Verdict verdict;
  if (result.end == WriteEnd::kStopped) {
    verdict = Verdict::Canceled();
    const std::string left = result.sectorsTouched == 0
                                 ? "|STOPPED_BEFORE_ANYTHING_WAS_WRITTEN"
                                 : "|STOPPED._|THE_TEST_PATTERN_IS_ON_THE_DISK_FROM_" +
                                       LbaKey(plan.firstLba) + "_TO_" +
                                       LbaKey(plan.firstLba + result.sectorsTouched - 1);
    verdict.message = Joined({faults, left});
  } else if (isDiskFault) {
    verdict.status = kTestFailed;
    verdict.message = Joined({faults, ending});
    verdict.expected = "every sector holds what was written to it";
  } else if (result.end == WriteEnd::kTimeCap) {
    verdict = Verdict::Warning(ending);
  } else if (!ending.empty()) {
    verdict = Verdict::Invalid(ending);
  } else {
    verdict = Verdict::Passed();
  }
  verdict.found = FoundText(result, plan);
  verdict.where = WhereText(result);
  return verdict;
}

}  // namespace orvan::storage::words
