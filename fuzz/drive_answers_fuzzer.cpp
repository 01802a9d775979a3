#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "fuzz/decoded_answer.h"
#include "service/modules/storage/bytes.h"
#include "service/modules/storage/drive/drive_answer.h"

namespace {

using namespace orvan;
using namespace orvan::storage;
using fuzz::IsPlain;
using fuzz::Require;
using Kind = DriveAnswer::Kind;
using Outcome = sdk::CommandAnswer::Outcome;

// Behind the first two bytes: status, registers and completion, then the length of the sense data,
// the sense data, and the data.
constexpr std::size_t kHeadBytes = 16;

sdk::CommandAnswer AnswerIn(Bytes bytes) {
  constexpr int kErrors[] = {EPERM, EINVAL, EBUSY, EIO, ECANCELED, EOPNOTSUPP, ENODEV, 0};
  sdk::CommandAnswer answer;
  answer.outcome = static_cast<Outcome>(std::min(bytes[0] & 7, 5));
  answer.error = kErrors[bytes[0] >> 3 & 7];
  answer.hasRegisters = (bytes[0] & 0x40) != 0;
  answer.scsiStatus = bytes[1];
  answer.registers = {bytes[2], bytes[3], bytes[4], bytes[5],
                      Big<std::uint64_t>(bytes, 6) & 0xFFFFFFFFFFFF};
  answer.nvmeStatus = static_cast<std::uint16_t>(Big<std::uint16_t>(bytes, 14) & 0x7FFF);
  const Bytes rest = Part(bytes, kHeadBytes);
  if (rest.empty()) return answer;
  const Bytes sense = Part(rest, 1, rest[0]);
  answer.sense.assign(sense.begin(), sense.end());
  const Bytes data = Part(rest, 1 + sense.size());
  answer.data.assign(data.begin(), data.end());
  return answer;
}

// What nobody but the kernel can say.
void RequireKernelsWord(Kind kind, Outcome outcome) {
  Require(kind != Kind::kNoPrivilege || outcome == Outcome::kRefused);
  Require((kind == Kind::kTimedOut) == (outcome == Outcome::kTimedOut));
  Require((kind == Kind::kGone) == (outcome == Outcome::kGone));
  Require(kind != Kind::kCanceled || outcome == Outcome::kNotTried);
}

}  // namespace

// The first byte chooses a command, the second how it ended. Whatever a drive or what speaks for
// it answers: it is done when as much came as a decoder may count on, and otherwise there is a
// reason, fit for a terminal, and no data that somebody could take for an answer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 + kHeadBytes) return 0;
  const DriveCommandRow& row = AllDriveCommands()[data[0] % kDriveRequests];
  const sdk::CommandAnswer answer = AnswerIn(Bytes(data + 1, size - 1));
  const DriveAnswer meaning = MeaningOf(row, row.bytes, answer);
  RequireKernelsWord(meaning.kind, answer.outcome);
  if (!meaning.IsDone()) {
    Require(meaning.data.empty() && IsPlain(meaning.reason));
    Require(meaning.reason.starts_with(std::string(row.name) + ": "));
    return 0;
  }
  Require(answer.outcome == Outcome::kAnswered && meaning.reason.empty());
  Require(meaning.data == answer.data);
  Require(meaning.data.size() >= (row.leastBytes == 0 ? row.bytes : row.leastBytes));
  const bool saysHealth = row.request == DriveRequest::kSmartReturnStatus;
  Require(!saysHealth || (meaning.registers && SmartStatusIn(*meaning.registers)));
  return 0;
}
