#include "service/modules/storage/drive/drive_answer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "service/modules/storage/decoded.h"
#include "service/modules/storage/drive/answer_kinds.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using Outcome = sdk::CommandAnswer::Outcome;

// What the kernel's refusal of a command means.
DriveAnswer RefusalMeaning(int error) {
  struct Row {
    int error;
    Kind kind;
    const char* words;
  };
  static constexpr char kNoRight[] = "the kernel does not allow it";
  static constexpr char kNoWay[] = "the driver does not pass it on";
  static constexpr std::array kRows = {
      Row{EPERM, Kind::kNoPrivilege, kNoRight},       Row{EACCES, Kind::kNoPrivilege, kNoRight},
      Row{ENOTTY, Kind::kNotSupported, kNoWay},       Row{EOPNOTSUPP, Kind::kNotSupported, kNoWay},
      Row{ENOSYS, Kind::kNotSupported, kNoWay},       Row{EINVAL, Kind::kNotSupported, kNoWay},
      Row{EBUSY, Kind::kNotNow, "the drive is busy"},
  };
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [error](const Row& one) { return one.error == error; });
  if (row == kRows.end()) {
    return Told(Kind::kNotNow, "it was broken off on its way, " + words::ErrorText(error));
  }
  return Told(row->kind, std::string(row->words) + ", " + words::ErrorText(error));
}

DriveAnswer AnsweredMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer) {
  switch (row.Protocol()) {
    case DriveProtocol::kAta:
      return AtaMeaning(row, answer);
    case DriveProtocol::kScsi:
      return ScsiMeaning(row, answer);
    case DriveProtocol::kNvme:
      return NvmeMeaning(row, answer);
    case DriveProtocol::kNone:
      break;
  }
  return Told(Kind::kNotTried, "nobody knows how to send it");
}

DriveAnswer OutcomeMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer) {
  switch (answer.outcome) {
    case Outcome::kAnswered:
      return AnsweredMeaning(row, answer);
    case Outcome::kNotGranted:
      return Told(Kind::kNotTried, "it changes what the drive does, and may not be sent here");
    case Outcome::kRefused:
      return RefusalMeaning(answer.error);
    case Outcome::kTimedOut:
      return Told(Kind::kTimedOut, "the drive did not answer within " +
                                       std::to_string(row.timeLimit.count()) + " seconds");
    case Outcome::kGone:
      return Told(Kind::kGone, "the drive has left the machine");
    case Outcome::kNotTried:
      break;
  }
  if (answer.error == ECANCELED) return Told(Kind::kCanceled, "it was stopped");
  return Told(Kind::kNotTried, "it could not be sent, " + words::ErrorText(answer.error));
}

}  // namespace

DriveAnswer Told(Kind kind, std::string reason) {
  DriveAnswer answer;
  answer.kind = kind;
  answer.reason = std::move(reason);
  return answer;
}

DriveAnswer Unknown(const DriveCommandRow& row, std::string reason) {
  return Told(row.isMandatory ? Kind::kFailed : Kind::kNotSupported, std::move(reason));
}

std::optional<SmartStatus> SmartStatusIn(const sdk::AtaRegisters& registers) {
  constexpr std::uint64_t kGood = 0xC24F;
  constexpr std::uint64_t kExceeded = 0x2CF4;
  const std::uint64_t signature = registers.lba >> 8 & 0xFFFF;
  if (signature == kGood) return SmartStatus::kGood;
  if (signature == kExceeded) return SmartStatus::kThresholdExceeded;
  return {};
}

DriveAnswer MeaningOf(const DriveCommandRow& row, std::uint32_t askedBytes,
                      sdk::CommandAnswer answer) {
  DriveAnswer meaning = OutcomeMeaning(row, answer);
  const std::size_t wanted = row.leastBytes == 0 ? askedBytes : row.leastBytes;
  if (meaning.IsDone() && answer.data.size() < wanted) {
    meaning.kind = Kind::kGarbage;
    meaning.reason = ShortAnswer(answer.data.size(), wanted);
  }
  if (meaning.IsDone()) {
    meaning.data = std::move(answer.data);
  } else {
    meaning.reason = std::string(row.name) + ": " + meaning.reason;
  }
  return meaning;
}

}  // namespace orvan::storage
