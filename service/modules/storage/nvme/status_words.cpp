#include "service/modules/storage/nvme/status_words.h"

#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"

namespace orvan::storage::nvme {
namespace {

struct StatusRow {
  std::uint16_t status;  // type in the high byte, code in the low one
  const char* words;
};

// Codes of type 1 (1xxh) mean something else with each command; here they are those that the
// commands for logs, self-tests and data give.
constexpr std::array kRows = {
    StatusRow{0x000, "success"},
    StatusRow{0x001, "invalid command opcode"},
    StatusRow{0x002, "invalid field in the command"},
    StatusRow{0x003, "command identifier conflict"},
    StatusRow{0x004, "data transfer error"},
    StatusRow{0x005, "aborted, for power is lost"},
    StatusRow{0x006, "internal error"},
    StatusRow{0x007, "aborted by request"},
    StatusRow{0x008, "aborted, for its queue was deleted"},
    StatusRow{0x009, "aborted, for a fused command failed"},
    StatusRow{0x00A, "aborted, for a fused command is missing"},
    StatusRow{0x00B, "invalid namespace or format"},
    StatusRow{0x00C, "command sequence error"},
    StatusRow{0x00D, "invalid segment descriptor"},
    StatusRow{0x012, "invalid use of the controller's memory"},
    StatusRow{0x013, "invalid offset of a data list"},
    StatusRow{0x015, "operation denied"},
    StatusRow{0x01C, "a sanitize failed"},
    StatusRow{0x01D, "a sanitize is in progress"},
    StatusRow{0x020, "the namespace is write protected"},
    StatusRow{0x021, "the command was interrupted"},
    StatusRow{0x022, "transient error of the transport"},
    StatusRow{0x080, "logical block address out of range"},
    StatusRow{0x081, "capacity exceeded"},
    StatusRow{0x082, "the namespace is not ready"},
    StatusRow{0x083, "reservation conflict"},
    StatusRow{0x084, "a format is in progress"},
    StatusRow{0x109, "invalid log page"},
    StatusRow{0x10A, "invalid format"},
    StatusRow{0x10C, "invalid queue deletion"},
    StatusRow{0x10F, "the feature is not one of a namespace"},
    StatusRow{0x11D, "a self-test is in progress"},
    StatusRow{0x180, "conflicting attributes"},
    StatusRow{0x181, "invalid protection information"},
    StatusRow{0x182, "attempted write to a range that is read only"},
    StatusRow{0x280, "write fault"},
    StatusRow{0x281, "unrecovered read error"},
    StatusRow{0x282, "end-to-end guard check error"},
    StatusRow{0x283, "end-to-end application tag check error"},
    StatusRow{0x284, "end-to-end reference tag check error"},
    StatusRow{0x285, "compare failure"},
    StatusRow{0x286, "access denied"},
    StatusRow{0x287, "deallocated or unwritten logical block"},
    StatusRow{0x300, "internal error of the path"},
    StatusRow{0x301, "the path is lost for good"},
    StatusRow{0x302, "the path is inaccessible"},
    StatusRow{0x303, "the path is changing"},
    StatusRow{0x360, "error of the controller's path"},
    StatusRow{0x370, "error of the host's path"},
    StatusRow{0x371, "aborted by the host"},
};

// By type, of a code without a row.
constexpr std::array kTypeWords = {
    "an error without a name here", "an error of this command", "an error of media or data",
    "an error of the path",         "an error of unknown type", "an error of unknown type",
    "an error of unknown type",     "an error of the maker's",
};

std::string HexStatus(std::uint16_t status) {
  return std::string(1, static_cast<char>('0' + (status >> 8))) +
         HexByte(static_cast<std::uint8_t>(status & 0xFF));
}

}  // namespace

std::string StatusWords(std::uint16_t status) {
  constexpr std::uint16_t kTypeAndCode = 0x7FF;
  constexpr std::uint8_t kFirstOfMaker = 0xC0;
  const auto wanted = static_cast<std::uint16_t>(status & kTypeAndCode);
  const auto* const row =
      std::find_if(kRows.begin(), kRows.end(),
                   [wanted](const StatusRow& entry) { return entry.status == wanted; });
  const bool isOfMaker = (wanted & 0xFF) >= kFirstOfMaker;
  const char* const words = row != kRows.end() ? row->words
                            : isOfMaker        ? kTypeWords.back()
                                               : kTypeWords[wanted >> 8];
  return std::string(words) + " (" + HexStatus(wanted) + ')';
}

std::string StatusWords(std::uint8_t type, std::uint8_t code) {
  return StatusWords(static_cast<std::uint16_t>((type & 7) << 8 | code));
}

}  // namespace orvan::storage::nvme
