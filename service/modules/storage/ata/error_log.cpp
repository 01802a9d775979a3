#include "service/modules/storage/ata/error_log.h"

#include <algorithm>
#include <array>

#include "service/modules/storage/ata/commands.h"
#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/ata/ring_log.h"

namespace orvan::storage::ata {
namespace {

constexpr std::uint8_t kUncorrectable = 0x40;
constexpr std::uint8_t kNotFound = 0x10;
constexpr std::uint8_t kNoAddressMark = 0x01;

// 28-bit commands have the upper 4 bits of the LBA in the device register.
std::uint64_t Lba28(std::uint64_t low24, std::uint8_t device) {
  return low24 | static_cast<std::uint64_t>(device & 0x0FU) << 24;
}

// Source: ATA8-ACS, summary SMART error log, tables of the command data structure (12 bytes, the
// fifth is the command that failed) and of the error data structure (30 bytes).
LoggedError DecodeSummaryEntry(Bytes entry) {
  const Bytes command = Part(entry, 4 * 12, 12), end = Part(entry, 5 * 12, 30);
  LoggedError error;
  error.asked = {command[1], command[2], Lba28(Little<std::uint32_t, 3>(command, 3), command[6]),
                 command[6]};
  error.command = command[7];
  error.milliseconds = Little<std::uint32_t>(command, 8);
  error.error = end[1];
  error.left = {0, end[2], Lba28(Little<std::uint32_t, 3>(end, 3), end[6]), end[6]};
  error.status = end[7];
  error.state = end[27];
  error.powerOnHours = Little<std::uint16_t>(end, 28);
  return error;
}

// Where the six registers of an LBA stand, bits 7:0 first.
using LbaOrder = std::array<std::size_t, 6>;
constexpr LbaOrder kInTurns = {0, 2, 4, 1, 3, 5};  // the standard's: 31:24 stands behind 7:0
constexpr LbaOrder kInOrder = {0, 1, 2, 3, 4, 5};

std::uint64_t Lba48(Bytes at, const LbaOrder& order, std::uint8_t device, bool has28Bits) {
  std::uint64_t lba = 0;
  for (std::size_t i = order.size(); i > 0; --i) lba = lba << 8 | at[order[i - 1]];
  return has28Bits ? Lba28(lba & 0xFFFFFFU, device) : lba;
}

// Source: ACS-4, 9, extended comprehensive SMART error log, tables of the command data structure
// (18 bytes, the fifth is the command that failed) and of the error data structure (34 bytes).
template <const LbaOrder& kOrder>
LoggedError DecodeExtendedEntry(Bytes entry) {
  const Bytes command = Part(entry, 4 * 18, 18), end = Part(entry, 5 * 18, 34);
  LoggedError error;
  error.command = command[12];
  const bool has28Bits = Has28BitLba(error.command);
  error.asked = {Little<std::uint16_t>(command, 1), Little<std::uint16_t>(command, 3),
                 Lba48(Part(command, 5, 6), kOrder, command[11], has28Bits), command[11]};
  error.milliseconds = Little<std::uint32_t>(command, 14);
  error.error = end[1];
  error.left = {0, Little<std::uint16_t>(end, 2),
                Lba48(Part(end, 4, 6), kOrder, end[10], has28Bits), end[10]};
  error.status = end[11];
  error.state = end[31];
  error.powerOnHours = Little<std::uint16_t>(end, 32);
  return error;
}

Decoded<ErrorLog> DecodeLog(Bytes pages, const RingLayout& layout, std::size_t countAt,
                            LoggedError (*decode)(Bytes)) {
  Ring ring = ReadRing(pages, layout);
  if (!ring.trouble.empty()) return Distrusted<ErrorLog>(std::move(ring.trouble));
  ErrorLog log;
  log.count = Little<std::uint16_t>(pages, countAt);
  for (const Bytes entry : ring.entries) log.errors.push_back(decode(entry));
  std::string trouble;
  if (log.count < log.errors.size()) {
    trouble = layout.what + " counts " + std::to_string(log.count) + " errors and has " +
              std::to_string(log.errors.size());
  }
  return {std::move(log), std::move(trouble)};
}

// Only what a drive could not read is a sector of its own for sure.
bool AreOnDisk(const std::optional<ErrorLog>& log, std::uint64_t sectors) {
  return !log || std::none_of(log->errors.begin(), log->errors.end(), [&](const auto& error) {
    return (error.error & kUncorrectable) != 0 && error.left.lba >= sectors;
  });
}

}  // namespace

Decoded<ErrorLog> DecodeSummaryErrorLog(Bytes bytes) {
  const RingLayout layout = {"the error log", 1, 1, 1, 1, 2, 90, 5};
  return DecodeLog(Part(bytes, 0, kPageBytes), layout, 452, DecodeSummaryEntry);
}

Decoded<ErrorLog> DecodeExtendedErrorLog(Bytes pages, std::optional<std::uint64_t> sectors) {
  const RingLayout layout = {"the extended error log", 1, 1, 2, 2, 4, 124, 4};
  constexpr std::size_t kCountAt = 500;
  auto log = DecodeLog(pages, layout, kCountAt, DecodeExtendedEntry<kInTurns>);
  if (!sectors || AreOnDisk(log.value, *sectors)) return log;
  auto inOrder = DecodeLog(pages, layout, kCountAt, DecodeExtendedEntry<kInOrder>);
  return AreOnDisk(inOrder.value, *sectors) ? inOrder : log;
}

std::optional<std::uint64_t> LoggedError::FailingLba() const {
  if ((error & (kUncorrectable | kNotFound | kNoAddressMark)) == 0) return std::nullopt;
  return left.lba;
}

std::string ErrorWords(const LoggedError& error) {
  struct Bit {
    std::uint8_t mask;
    const char* words;
  };
  static constexpr Bit kErrors[] = {{0x80, "checksum of a transfer (ICRC)"},
                                    {kUncorrectable, "uncorrectable data (UNC)"},
                                    {kNotFound, "sector not found (IDNF)"},
                                    {0x04, "command aborted (ABRT)"},
                                    {kNoAddressMark, "address mark not found (AMNF)"}};
  constexpr std::uint8_t kDeviceFault = 0x20;
  std::string words;
  const auto add = [&words](const char* more) {
    words += (words.empty() ? "" : ", ") + std::string(more);
  };
  for (const Bit& bit : kErrors) {
    if ((error.error & bit.mask) != 0) add(bit.words);
  }
  if ((error.status & kDeviceFault) != 0) add("device fault (DF)");
  return words.empty() ? "no error bit" : words;
}

std::string StateWords(std::uint8_t state) {
  // Source: ACS-4, 9, extended comprehensive SMART error log, table of state field values: the
  // upper half is the maker's own.
  static constexpr const char* kStates[] = {"unknown", "sleep", "standby", "active or idle",
                                            "off-line data collection or self-test"};
  const std::size_t number = state & 0x0FU;
  return number < std::size(kStates) ? kStates[number] : "reserved";
}

}  // namespace orvan::storage::ata
