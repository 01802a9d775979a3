#include "service/modules/storage/drive/drive_commands.h"

#include <algorithm>

namespace orvan::storage {
namespace {

using std::chrono::seconds;

constexpr auto kReads = sdk::CommandEffect::kReads;
constexpr auto kChanges = sdk::CommandEffect::kChangesDrive;
// Answered by a drive's electronics alone.
constexpr seconds kPrompt{10};
// A drive that stands still spins up first, for these lie on its medium. The kernel resets a drive
// whose time has run out, so nobody hurries it.
constexpr seconds kPatient{30};
// An operator who has stopped the test is waiting.
constexpr seconds kHasty{5};

constexpr std::uint32_t kBlockBytes = 512;
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kReadLogExt = 0x2F;
// A drive ignores SMART without this signature in the address.
constexpr std::uint32_t kSignature = 0xC24F00;

constexpr AtaShape Smart(std::uint8_t feature, std::uint8_t lbaLow = 0) {
  return {.command = kSmart, .feature = feature, .lba = kSignature | lbaLow};
}
constexpr AtaShape kReturnStatus{
    .command = kSmart, .feature = 0xDA, .lba = kSignature, .answersInRegisters = true};
constexpr AtaShape ExtLog(std::uint8_t log) {
  return {.command = kReadLogExt, .lba = log, .is48Bit = true};
}

constexpr DriveCommandRow Ata(DriveRequest request, const char* name, std::uint32_t bytes,
                              AtaShape shape, sdk::CommandEffect effect = kReads) {
  return {request, name, false, bytes, 0, kPatient, effect, false, shape};
}

constexpr ScsiShape SelfTest(std::uint8_t code) {
  return {.cdb = {0x1D, static_cast<std::uint8_t>(code << 5)}};
}
constexpr ScsiShape kInquiry{.cdb = {0x12}, .lengthAt = 3, .lengthBytes = 2};
constexpr ScsiShape kVitalPage{
    .cdb = {0x12, 0x01}, .lengthAt = 3, .lengthBytes = 2, .mostPage = 0xFF};
// The cumulative values, and nothing saved.
constexpr ScsiShape kLogSense{.cdb = {0x4D, 0, 0x40},
                              .bytes = 10,
                              .lengthAt = 7,
                              .lengthBytes = 2,
                              .mostPage = 0x3F,
                              .hasSubpage = true};
constexpr ScsiShape kRequestSense{.cdb = {0x03}, .lengthAt = 4, .lengthBytes = 1};
constexpr ScsiShape kCapacity{.cdb = {0x9E, 0x10}, .bytes = 16, .lengthAt = 10, .lengthBytes = 4};

// MODE SENSE (10) of the control mode page with the values of now, and no block descriptor.
constexpr ScsiShape kControl{
    .cdb = {0x5A, 0x08, 0x0A}, .bytes = 10, .lengthAt = 7, .lengthBytes = 2};

constexpr std::uint8_t kGetLog = 0x02;
// What the drive had to tell the kernel stays where it is.
constexpr std::uint32_t kRetainEvent = 0x8000;

constexpr NvmeShape Log(std::uint8_t page) {
  return {kGetLog, kRetainEvent | page, NvmeShape::Namespace::kAll, true};
}
constexpr NvmeShape NvmeSelfTest(std::uint8_t code) {
  return {0x14, code, NvmeShape::Namespace::kAll};
}
constexpr NvmeShape kController{0x06, 1, NvmeShape::Namespace::kNone};
constexpr NvmeShape kNamespace{0x06, 0, NvmeShape::Namespace::kOwn};

// SCSI pages are asked for with 252 bytes where a caller does not want more, for some sticks hang
// at lengths that they have never seen.
using R = DriveRequest;
constexpr std::array<DriveCommandRow, kDriveRequests> kRows = {{
    {R::kAtaIdentify, "IDENTIFY DEVICE", true, 512, 0, kPrompt, kReads, false, AtaShape{0xEC}},
    Ata(R::kSmartData, "SMART READ DATA", 512, Smart(0xD0)),
    Ata(R::kSmartThresholds, "SMART READ ATTRIBUTE THRESHOLDS", 512, Smart(0xD1)),
    Ata(R::kSmartReturnStatus, "SMART RETURN STATUS", 0, kReturnStatus),
    Ata(R::kAtaErrorLog, "SMART READ LOG 01h", 512, Smart(0xD5, 0x01)),
    Ata(R::kAtaSelfTestLog, "SMART READ LOG 06h", 512, Smart(0xD5, 0x06)),
    Ata(R::kAtaLogDirectory, "READ LOG EXT 00h", 512, ExtLog(0x00)),
    Ata(R::kAtaExtErrorLog, "READ LOG EXT 03h", 512, ExtLog(0x03)),
    Ata(R::kAtaDeviceStatistics, "READ LOG EXT 04h", 512, ExtLog(0x04)),
    Ata(R::kAtaExtSelfTestLog, "READ LOG EXT 07h", 512, ExtLog(0x07)),
    Ata(R::kAtaShortSelfTest, "the start of a short self-test", 0, Smart(0xD4, 0x01), kChanges),
    Ata(R::kAtaExtendedSelfTest, "the start of an extended self-test", 0, Smart(0xD4, 0x02),
        kChanges),
    {R::kAtaAbortSelfTest, "the end of a self-test", false, 0, 0, kHasty, kChanges, true,
     Smart(0xD4, 0x7F)},
    {R::kScsiTestUnitReady, "TEST UNIT READY", true, 0, 0, kPrompt, kReads, false, ScsiShape{}},
    {R::kScsiInquiry, "INQUIRY", true, 36, 36, kPrompt, kReads, false, kInquiry},
    {R::kScsiVpdPage, "INQUIRY of a page", false, 252, 4, kPrompt, kReads, false, kVitalPage},
    {R::kScsiLogSense, "LOG SENSE", false, 252, 4, kPatient, kReads, false, kLogSense},
    {R::kScsiRequestSense, "REQUEST SENSE", true, 252, 8, kPrompt, kReads, false, kRequestSense},
    {R::kScsiReadCapacity16, "READ CAPACITY (16)", false, 32, 12, kPrompt, kReads, false,
     kCapacity},
    {R::kScsiControlPage, "MODE SENSE of the control page", false, 252, 8, kPrompt, kReads, false,
     kControl},
    {R::kScsiShortSelfTest, "the start of a short self-test", false, 0, 0, kPatient, kChanges,
     false, SelfTest(1)},
    {R::kScsiExtendedSelfTest, "the start of an extended self-test", false, 0, 0, kPatient,
     kChanges, false, SelfTest(2)},
    {R::kScsiAbortSelfTest, "the end of a self-test", false, 0, 0, kHasty, kChanges, true,
     SelfTest(4)},
    {R::kNvmeIdentifyController, "Identify Controller", true, 4096, 0, kPrompt, kReads, false,
     kController},
    {R::kNvmeIdentifyNamespace, "Identify Namespace", true, 4096, 0, kPrompt, kReads, false,
     kNamespace},
    {R::kNvmeErrorLog, "Error Information log", true, 64, 0, kPrompt, kReads, false, Log(0x01)},
    {R::kNvmeSmartLog, "SMART / Health log", true, 512, 0, kPrompt, kReads, false, Log(0x02)},
    {R::kNvmeSelfTestLog, "Device Self-test log", false, 564, 0, kPrompt, kReads, false, Log(0x06)},
    {R::kNvmeShortSelfTest, "the start of a short self-test", false, 0, 0, kPatient, kChanges,
     false, NvmeSelfTest(0x1)},
    {R::kNvmeExtendedSelfTest, "the start of an extended self-test", false, 0, 0, kPatient,
     kChanges, false, NvmeSelfTest(0x2)},
    {R::kNvmeAbortSelfTest, "the end of a self-test", false, 0, 0, kHasty, kChanges, true,
     NvmeSelfTest(0xF)},
}};

consteval bool IsInOrder() {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].request != static_cast<DriveRequest>(i)) return false;
  }
  return kRows.back().request == R::kNvmeAbortSelfTest;
}
static_assert(IsInOrder(), "each request has the row of its number");

using Command = decltype(sdk::DriveCommand::command);

// Each refuses details that its command has no place for.
std::optional<Command> Put(const AtaShape& shape, const RequestDetails& details,
                           std::uint32_t bytes, const DriveAddress& address) {
  const std::uint32_t blocks = bytes / kBlockBytes;
  const bool fits = bytes % kBlockBytes == 0 && blocks <= (shape.is48Bit ? 0xFFFF : 0xFF) &&
                    details.subpage == 0 &&
                    (shape.is48Bit || (details.page == 0 && details.bytes == 0));
  if (!fits || (shape.is48Bit && address.uses12Bytes)) return std::nullopt;
  using Protocol = sdk::AtaCommand::Protocol;
  sdk::AtaCommand command;
  command.protocol = bytes == 0 ? Protocol::kNonData : Protocol::kPioIn;
  command.is48Bit = shape.is48Bit;
  command.feature = shape.feature;
  command.count = static_cast<std::uint16_t>(blocks);
  // Source: ACS-4, READ LOG EXT: the page's number is in bits 15:8 and 39:32.
  command.lba = shape.lba | (details.page & 0xFFU) << 8 | std::uint64_t{details.page} >> 8 << 32;
  command.command = shape.command;
  command.uses12Bytes = address.uses12Bytes;
  return command;
}

std::optional<Command> Put(const ScsiShape& shape, const RequestDetails& details,
                           std::uint32_t bytes, const DriveAddress&) {
  const bool fits = details.page <= shape.mostPage && (shape.hasSubpage || details.subpage == 0) &&
                    std::uint64_t{bytes} >> (8 * shape.lengthBytes) == 0;
  if (!fits) return std::nullopt;
  sdk::ScsiCommand command;
  command.cdb.assign(shape.cdb.begin(),
                     shape.cdb.begin() + static_cast<std::ptrdiff_t>(shape.bytes));
  if (shape.mostPage != 0) command.cdb[2] |= static_cast<std::uint8_t>(details.page);
  if (shape.hasSubpage) command.cdb[3] = details.subpage;
  for (std::size_t i = 0; i < shape.lengthBytes; ++i) {
    command.cdb[shape.lengthAt + i] =
        static_cast<std::uint8_t>(bytes >> (8 * (shape.lengthBytes - 1 - i)));
  }
  return command;
}

std::optional<Command> Put(const NvmeShape& shape, const RequestDetails& details,
                           std::uint32_t bytes, const DriveAddress& address) {
  using Namespace = NvmeShape::Namespace;
  const bool isOwn = shape.target == Namespace::kOwn;
  const bool fits = bytes % 4 == 0 && details.page == 0 && details.subpage == 0 &&
                    (shape.isLog || details.bytes == 0);
  if (!fits || (isOwn && !address.namespaceId)) return std::nullopt;
  sdk::NvmeAdminCommand command;
  command.opcode = shape.opcode;
  command.namespaceId = isOwn                             ? *address.namespaceId
                        : shape.target == Namespace::kAll ? 0xFFFFFFFF
                                                          : 0;
  command.dwords[0] = shape.dword10;
  if (shape.isLog) {
    // Source: NVM Express Base 2.0, 5.16 (Get Log Page): the number of dwords, less one.
    const std::uint32_t last = bytes / 4 - 1;
    command.dwords[0] |= last << 16;
    command.dwords[1] = last >> 16;
  }
  return command;
}

}  // namespace

DriveProtocol DriveCommandRow::Protocol() const {
  if (std::holds_alternative<AtaShape>(shape)) return DriveProtocol::kAta;
  return std::holds_alternative<ScsiShape>(shape) ? DriveProtocol::kScsi : DriveProtocol::kNvme;
}

std::span<const DriveCommandRow, kDriveRequests> AllDriveCommands() {
  return kRows;
}

const DriveCommandRow& RowOf(DriveRequest request) {
  return kRows.at(static_cast<std::size_t>(request));
}

std::uint32_t BytesOf(const DriveCommandRow& row, const RequestDetails& details) {
  return details.bytes == 0 ? row.bytes : details.bytes;
}

std::optional<sdk::DriveCommand> MakeCommand(const DriveCommandRow& row,
                                             const RequestDetails& details,
                                             const DriveAddress& address) {
  const std::uint32_t bytes = BytesOf(row, details);
  const bool fits =
      row.bytes != 0 ? bytes >= row.leastBytes && bytes <= sdk::kLargestCommandBytes : bytes == 0;
  if (!fits) return std::nullopt;
  auto command =
      std::visit([&](const auto& shape) { return Put(shape, details, bytes, address); }, row.shape);
  if (!command) return std::nullopt;
  sdk::DriveCommand made;
  made.device = address.device;
  made.expectedDevice = address.deviceNumber;
  made.diskSequence = address.diskSequence;
  made.command = *std::move(command);
  made.direction = bytes == 0 ? sdk::DataDirection::kNone : sdk::DataDirection::kFromDevice;
  made.bytesIn = bytes;
  made.timeLimit = row.timeLimit;
  // A page may make something else of a command.
  if (sdk::EffectOf(made) != row.effect) return std::nullopt;
  return made;
}

}  // namespace orvan::storage
