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

constexpr std::size_t kUnreadInText = 4;

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

std::string ErrorWords(int error) {
  static constexpr std::array<ErrorRow, 33> kRows = {{
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
      {ENOTTY, "not known to the driver"},
      {EOPNOTSUPP, "operation not supported"},
      {ENOTBLK, "no block device"},
      {ENOMEDIUM, "no medium"},
      {EROFS, "read only"},
      {ENOSPC, "no space left"},
      {EFBIG, "file too large"},
      {ESHUTDOWN, "no more transfers are tried"},
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

}  // namespace orvan::storage::words
