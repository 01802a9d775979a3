#include <algorithm>
#include <array>

#include "service/modules/storage/drive/answer_kinds.h"
#include "service/modules/storage/nvme/status_words.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

// The first row that fits counts; a code below 0 is any. A type without a row is none.
// Source: NVM Express Base 2.0, 3.3.3.2.1 (status field): types and codes.
struct Row {
  int type;
  int code;
  Kind kind;
};
constexpr std::array kRows = {
    Row{0, 0x00, Kind::kDone},         Row{0, 0x01, Kind::kNotSupported},  // invalid opcode
    Row{0, 0x02, Kind::kNotSupported},                                     // invalid field
    Row{0, 0x05, Kind::kNotNow},                                           // power is lost
    Row{0, 0x07, Kind::kNotNow},                                           // aborted
    Row{0, 0x08, Kind::kNotNow},                                           // its queue was deleted
    Row{0, 0x0B, Kind::kNotSupported},                                     // invalid namespace
    Row{0, 0x15, Kind::kNotNow},                                           // denied
    Row{0, 0x1D, Kind::kNotNow},                                           // sanitize in progress
    Row{0, 0x21, Kind::kNotNow},                                           // interrupted
    Row{0, 0x22, Kind::kNotNow},  // transient error of the transport
    Row{0, 0x82, Kind::kNotNow},  // namespace not ready
    Row{0, 0x83, Kind::kNotNow},  // reservation conflict
    Row{0, 0x84, Kind::kNotNow},  // format in progress
    Row{0, -1, Kind::kFailed},         Row{1, 0x09, Kind::kNotSupported},  // invalid log page
    Row{1, 0x1D, Kind::kNotNow},                                           // self-test in progress
    Row{1, -1, Kind::kFailed},         Row{2, -1, Kind::kFailed},          // medium and data
    Row{3, -1, Kind::kNotNow},                                             // path
    Row{7, -1, Kind::kFailed},                                             // the maker's
};

}  // namespace

DriveAnswer NvmeMeaning(const DriveCommandRow& row, const sdk::CommandAnswer& answer) {
  const int type = answer.nvmeStatus >> 8 & 0x7;
  const int code = answer.nvmeStatus & 0xFF;
  const auto found = std::find_if(kRows.begin(), kRows.end(), [&](const Row& one) {
    return one.type == type && (one.code < 0 || one.code == code);
  });
  const Kind kind = found == kRows.end() ? Kind::kGarbage : found->kind;
  std::string words = kind == Kind::kDone ? "" : nvme::StatusWords(answer.nvmeStatus);
  DriveAnswer meaning =
      kind == Kind::kNotSupported ? Unknown(row, std::move(words)) : Told(kind, std::move(words));
  meaning.nvmeStatus = answer.nvmeStatus;
  meaning.nvmeResult = answer.nvmeResult;
  return meaning;
}

}  // namespace orvan::storage
