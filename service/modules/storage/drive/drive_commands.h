#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "service/sdk/drive_command.h"

// Every command that this module can send to a drive. Any thread.
namespace orvan::storage {

// By which commands a drive is spoken to.
enum class DriveProtocol : std::uint8_t { kNone, kAta, kScsi, kNvme };

// What a drive is asked for. In the order of the table.
enum class DriveRequest : std::uint8_t {
  kAtaIdentify,
  kSmartData,
  kSmartThresholds,
  kSmartReturnStatus,
  kAtaErrorLog,
  kAtaSelfTestLog,
  kAtaLogDirectory,
  kAtaExtErrorLog,
  kAtaDeviceStatistics,
  kAtaExtSelfTestLog,
  kAtaShortSelfTest,
  kAtaExtendedSelfTest,
  kAtaAbortSelfTest,
  kScsiTestUnitReady,
  kScsiInquiry,
  kScsiVpdPage,
  kScsiLogSense,
  kScsiRequestSense,
  kScsiReadCapacity16,
  kScsiControlPage,
  kScsiShortSelfTest,
  kScsiExtendedSelfTest,
  kScsiAbortSelfTest,
  kNvmeIdentifyController,
  kNvmeIdentifyNamespace,
  kNvmeErrorLog,
  kNvmeSmartLog,
  kNvmeSelfTestLog,
  kNvmeShortSelfTest,
  kNvmeExtendedSelfTest,
  kNvmeAbortSelfTest,
};
inline constexpr std::size_t kDriveRequests = 31;

// Source: ACS-4, 7 (commands), ATA-3 for SMART READ ATTRIBUTE THRESHOLDS.
struct AtaShape {
  std::uint8_t command = 0;
  std::uint8_t feature = 0;
  std::uint32_t lba = 0;
  bool is48Bit = false;
  bool answersInRegisters = false;
};

// Source: SPC-5, 6; SBC-4, 5. Where in the block the length of the answer and the page stand.
struct ScsiShape {
  std::array<std::uint8_t, 16> cdb = {};
  std::size_t bytes = 6;
  std::size_t lengthAt = 0;  // the highest byte first
  std::size_t lengthBytes = 0;
  std::uint8_t mostPage = 0;  // a page up to that stands in byte 2
  bool hasSubpage = false;    // in byte 3
};

// Source: NVM Express Base 2.0, 5 (admin command set).
struct NvmeShape {
  enum class Namespace : std::uint8_t { kNone, kOwn, kAll };
  std::uint8_t opcode = 0;
  std::uint32_t dword10 = 0;
  Namespace target = Namespace::kNone;
  bool isLog = false;  // the length of the answer stands in the command
};

struct DriveCommandRow {
  DriveRequest request;
  const char* name;          // "SMART READ DATA"
  bool isMandatory;          // each drive that speaks the protocol has it
  std::uint32_t bytes;       // of the answer, when nothing else is asked for; 0: no data
  std::uint32_t leastBytes;  // a shorter answer is none; 0: as many as were asked for
  std::chrono::seconds timeLimit;
  sdk::CommandEffect effect;
  bool isSentAfterStop;  // it ends what a test began on the drive
  std::variant<AtaShape, ScsiShape, NvmeShape> shape;

  DriveProtocol Protocol() const;
};

std::span<const DriveCommandRow, kDriveRequests> AllDriveCommands();
const DriveCommandRow& RowOf(DriveRequest request);

// What a request may leave open.
struct RequestDetails {
  std::uint16_t page = 0;    // of a page of SCSI, or the first one of a log of READ LOG EXT
  std::uint8_t subpage = 0;  // of LOG SENSE
  // Of the answer; 0: as the row says. Whole blocks of 512 with ATA, a multiple of 4 with NVMe.
  std::uint32_t bytes = 0;
};

// Which drive, and how it is reached.
struct DriveAddress {
  std::string device;
  std::uint64_t deviceNumber = 0;
  std::uint64_t diskSequence = 0;
  std::optional<std::uint32_t> namespaceId;  // of NVMe
  bool uses12Bytes = false;                  // the short form of ATA PASS-THROUGH
};

// The bytes that are asked for.
std::uint32_t BytesOf(const DriveCommandRow& row, const RequestDetails& details);

// The command as the machine takes it; none when the details do not fit the row, or the command
// the way: 48-bit commands have no short form, and a namespace may not be known.
std::optional<sdk::DriveCommand> MakeCommand(const DriveCommandRow& row,
                                             const RequestDetails& details,
                                             const DriveAddress& address);

}  // namespace orvan::storage
