#include "service/sdk/drive_command.h"

#include <algorithm>
#include <array>

namespace orvan::sdk {
namespace {

// Commands that change nothing, and those that change no data. What tells them from others of the
// same code is a value below a mask; a code may have several rows.

// Source: ACS-4, 7 (commands), and where a feature is named, the subcommands of that command. READ
// LOG counts without a feature alone, for one of them resets the counters that are read
// (Serial ATA: phy event counters).
struct AtaRow {
  std::uint8_t command;
  DataDirection direction;
  std::uint16_t featureMask = 0;
  std::uint16_t feature = 0;
  int lbaLow = -1;        // the lowest byte of the address; -1: any
  bool readsLog = false;  // that byte names a log
};
constexpr std::uint16_t kWhole = 0xFFFF;
// Who reads it lets a drive go on after an error of queued commands, which is the kernel's to do.
// Source: ACS-4, 9 (log page definitions): NCQ Command Error log.
constexpr std::uint8_t kQueueErrorLog = 0x10;
constexpr auto kIn = DataDirection::kFromDevice;
constexpr auto kNoData = DataDirection::kNone;
constexpr std::array kAtaReads = {
    AtaRow{0x20, kIn},                       // READ SECTOR(S)
    AtaRow{0x24, kIn},                       // READ SECTOR(S) EXT
    AtaRow{0x25, kIn},                       // READ DMA EXT
    AtaRow{0x27, kNoData},                   // READ NATIVE MAX ADDRESS EXT (ACS-2)
    AtaRow{0x29, kIn},                       // READ MULTIPLE EXT
    AtaRow{0x2F, kIn, kWhole, 0, -1, true},  // READ LOG EXT
    AtaRow{0x40, kNoData},                   // READ VERIFY SECTOR(S)
    AtaRow{0x42, kNoData},                   // READ VERIFY SECTOR(S) EXT
    AtaRow{0x47, kIn, kWhole, 0, -1, true},  // READ LOG DMA EXT
    AtaRow{0x4A, kIn, 0x1F, 0},              // ZAC MANAGEMENT IN: REPORT ZONES
    AtaRow{0x5C, kIn, 0xFF, 0},              // TRUSTED RECEIVE: which protocols there are
    AtaRow{0x5D, kIn, 0xFF, 0},              // TRUSTED RECEIVE DMA: the same
    AtaRow{0x78, kNoData, kWhole, 0},        // GET NATIVE MAX ADDRESS EXT
    AtaRow{0xA1, kIn},                       // IDENTIFY PACKET DEVICE
    AtaRow{0xB0, kIn, kWhole, 0xD0},         // SMART READ DATA
    AtaRow{0xB0, kIn, kWhole, 0xD1},         // SMART READ ATTRIBUTE THRESHOLDS (ATA-3)
    AtaRow{0xB0, kIn, kWhole, 0xD5},         // SMART READ LOG
    AtaRow{0xB0, kNoData, kWhole, 0xDA},     // SMART RETURN STATUS
    AtaRow{0xB1, kIn, kWhole, 0xC2},         // DEVICE CONFIGURATION IDENTIFY (ACS-2)
    AtaRow{0xC4, kIn},                       // READ MULTIPLE
    AtaRow{0xC8, kIn},                       // READ DMA
    AtaRow{0xE5, kNoData},                   // CHECK POWER MODE
    AtaRow{0xEC, kIn},                       // IDENTIFY DEVICE
    AtaRow{0xF8, kNoData},                   // READ NATIVE MAX ADDRESS (ACS-2)
};

// Source: ACS-4, 7: SMART EXECUTE OFF-LINE IMMEDIATE by its subcommands, and operations of SMART.
constexpr std::array kAtaChanges = {
    AtaRow{0xB0, kNoData, kWhole, 0xD2},        // SMART ENABLE/DISABLE ATTRIBUTE AUTOSAVE (ATA-6)
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x00},  // off-line collection
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x01},  // short self-test
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x02},  // extended
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x03},  // conveyance
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x04},  // selective
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x7F},  // abort
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x81},  // the same in captive mode
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x82},
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x83},
    AtaRow{0xB0, kNoData, kWhole, 0xD4, 0x84},
    AtaRow{0xB0, kNoData, kWhole, 0xD8},  // SMART ENABLE OPERATIONS
    AtaRow{0xB0, kNoData, kWhole, 0xD9},  // SMART DISABLE OPERATIONS
};

// Source: SPC-5, 6; SBC-4, 5; ZBC, 5. The mask is of byte 1: a service action, a mode or a page.
struct ScsiRow {
  std::uint8_t code;
  std::uint8_t mask = 0;
  std::uint8_t value = 0;
  bool mayHaveData = true;
  std::array<std::uint8_t, 16> reserved = {};  // bits that are 0
};
constexpr std::uint8_t kAction = 0x1F;

using Reserved = std::array<std::uint8_t, 16>;
// Of MAINTENANCE IN, whose code tells drives of other kinds to do something.
constexpr Reserved kMaintenance = {0, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF};
constexpr Reserved kPortGroups = {0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF};
constexpr Reserved kOperationCodes = {0, 0xE0, 0x78, 0, 0, 0, 0, 0, 0, 0, 0xFF};
constexpr Reserved kTaskFunctions = {0, 0xE0, 0x7F, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF};
constexpr Reserved kPriority = {0, 0xE0, 0x3F, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF};
constexpr Reserved kDiagnostics = {0, 0xFE};
constexpr Reserved kLogs = {0, 0xFE, 0, 0, 0xFF};
constexpr Reserved kReservations = {0, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr Reserved kZones = {0, 0xE0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40};
constexpr Reserved kCapacity = {0, 0xE0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFE};
constexpr Reserved kBlockStates = {0, 0xE0};
constexpr Reserved kElements = {0, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0x30};
constexpr Reserved kUnits = {0, 0xFF, 0, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0xFF};
constexpr Reserved kProtocols = {0, 0, 0, 0, 0x7F, 0xFF, 0, 0, 0, 0, 0xFF};
// Its flags are reset by who reads them. Source: SSC-5, 8.2.3.
constexpr std::uint8_t kTapeAlertPage = 0x2E;
constexpr std::array kScsiReads = {
    ScsiRow{0x00},                                      // TEST UNIT READY
    ScsiRow{0x03},                                      // REQUEST SENSE
    ScsiRow{0x08},                                      // READ(6)
    ScsiRow{0x12},                                      // INQUIRY
    ScsiRow{0x1A},                                      // MODE SENSE(6)
    ScsiRow{0x1C, 0, 0, true, kDiagnostics},            // RECEIVE DIAGNOSTIC RESULTS
    ScsiRow{0x25},                                      // READ CAPACITY(10)
    ScsiRow{0x28},                                      // READ(10)
    ScsiRow{0x2F, 0x06, 0, false},                      // VERIFY(10) without bytes to compare
    ScsiRow{0x37},                                      // READ DEFECT DATA(10)
    ScsiRow{0x3C, kAction, 0x02},                       // READ BUFFER(10): data
    ScsiRow{0x3C, kAction, 0x03},                       // READ BUFFER(10): descriptor
    ScsiRow{0x4D, 0x01, 0, true, kLogs},                // LOG SENSE that saves no parameters
    ScsiRow{0x5A},                                      // MODE SENSE(10)
    ScsiRow{0x5E, kAction, 0x00, true, kReservations},  // PERSISTENT RESERVE IN: READ KEYS
    ScsiRow{0x5E, kAction, 0x01, true, kReservations},  // PERSISTENT RESERVE IN: READ RESERVATION
    ScsiRow{0x5E, kAction, 0x02, true,
            kReservations},  // PERSISTENT RESERVE IN: REPORT CAPABILITIES
    ScsiRow{0x5E, kAction, 0x03, true, kReservations},  // PERSISTENT RESERVE IN: READ FULL STATUS
    ScsiRow{0x88},                                      // READ(16)
    ScsiRow{0x8F, 0x06, 0, false},                      // VERIFY(16) without bytes to compare
    ScsiRow{0x95, kAction, 0x00, true, kZones},         // ZBC IN: REPORT ZONES
    ScsiRow{0x9E, kAction, 0x10, true, kCapacity},      // READ CAPACITY(16)
    ScsiRow{0x9E, kAction, 0x12, true, kBlockStates},   // GET LBA STATUS
    ScsiRow{0x9E, kAction, 0x17, true, kElements},      // GET PHYSICAL ELEMENT STATUS
    ScsiRow{0xA0, 0, 0, true, kUnits},                  // REPORT LUNS
    ScsiRow{0xA2, 0xFF, 0x00, true, kProtocols},  // SECURITY PROTOCOL IN: which protocols there are
    ScsiRow{0xA3, kAction, 0x05, true, kMaintenance},     // REPORT IDENTIFYING INFORMATION
    ScsiRow{0xA3, kAction, 0x0A, true, kPortGroups},      // REPORT TARGET PORT GROUPS
    ScsiRow{0xA3, kAction, 0x0C, true, kOperationCodes},  // REPORT SUPPORTED OPERATION CODES
    ScsiRow{0xA3, kAction, 0x0D, true,
            kTaskFunctions},                           // REPORT SUPPORTED TASK MANAGEMENT FUNCTIONS
    ScsiRow{0xA3, kAction, 0x0E, true, kPriority},     // REPORT PRIORITY
    ScsiRow{0xA3, kAction, 0x0F, true, kMaintenance},  // REPORT TIMESTAMP
    ScsiRow{0xA8},                                     // READ(12)
    ScsiRow{0xAF, 0x06, 0, false},                     // VERIFY(12) without bytes to compare
    ScsiRow{0xB7},                                     // READ DEFECT DATA(12)
};

// Source: SPC-5, 6.42 (SEND DIAGNOSTIC): byte 1 is the self-test, without leave to touch data or
// other units; what a list of parameters would ask for is not known.
constexpr Reserved kNoList = {0, 0, 0xFF, 0xFF, 0xFF};
constexpr std::uint8_t kSelfTest = 0xEF;
constexpr std::array kScsiChanges = {
    ScsiRow{0x1D, kSelfTest, 0x04, false, kNoList},  // the drive's default
    ScsiRow{0x1D, kSelfTest, 0x20, false, kNoList},  // background short
    ScsiRow{0x1D, kSelfTest, 0x40, false, kNoList},  // background extended
    ScsiRow{0x1D, kSelfTest, 0x80, false, kNoList},  // abort
    ScsiRow{0x1D, kSelfTest, 0xA0, false, kNoList},  // foreground short
    ScsiRow{0x1D, kSelfTest, 0xC0, false, kNoList},  // foreground extended
};

// Source: NVM Express Base 2.0, 5 (admin command set). The mask is of command dword 10.
struct NvmeRow {
  std::uint8_t opcode;
  std::uint32_t mask = 0;
  std::uint32_t value = 0;
};
// Get Log Page of these alone, without a field that is the log's own, and with Retain Asynchronous
// Event: what the drive had to tell the kernel is not taken from it. Other logs gather or forget
// something when they are read.
constexpr std::uint32_t kLog = 0x0000FFFF;
constexpr std::uint32_t kRetain = 0x8000;
constexpr std::array kNvmeReads = {
    NvmeRow{0x02, kLog, kRetain | 0x01},  // Error Information
    NvmeRow{0x02, kLog, kRetain | 0x02},  // SMART / Health Information
    NvmeRow{0x02, kLog, kRetain | 0x03},  // Firmware Slot Information
    NvmeRow{0x02, kLog, kRetain | 0x05},  // Commands Supported and Effects
    NvmeRow{0x02, kLog, kRetain | 0x06},  // Device Self-test
    NvmeRow{0x06},                        // Identify
    NvmeRow{0x0A},                        // Get Features
    NvmeRow{0x82, 0xFF000000},            // Security Receive: which protocols there are
};
constexpr std::array kNvmeChanges = {
    NvmeRow{0x14, 0xFFFFFFFF, 0x1},  // Device Self-test: short
    NvmeRow{0x14, 0xFFFFFFFF, 0x2},  // extended
    NvmeRow{0x14, 0xFFFFFFFF, 0xF},  // abort
};

using Effect = CommandEffect;

template <typename Rows, typename Fits>
bool AnyOf(const Rows& rows, Fits fits) {
  return std::any_of(rows.begin(), rows.end(), fits);
}

Effect EffectIn(const AtaCommand& command, DataDirection direction) {
  const auto lbaLow = static_cast<std::uint8_t>(command.lba);
  const auto fits = [&](const AtaRow& row) {
    return row.command == command.command && row.direction == direction &&
           (command.feature & row.featureMask) == row.feature &&
           (row.lbaLow < 0 || row.lbaLow == lbaLow) && !(row.readsLog && lbaLow == kQueueErrorLog);
  };
  if (AnyOf(kAtaReads, fits)) return Effect::kReads;
  return AnyOf(kAtaChanges, fits) ? Effect::kChangesDrive : Effect::kChangesMedium;
}

// Source: SPC-5, 4.2.5.1: the length that the three highest bits of the operation code tell; 0:
// they tell none.
std::size_t LengthOf(std::uint8_t code) {
  static constexpr std::array<std::size_t, 8> kLengths = {6, 10, 10, 0, 16, 12, 0, 0};
  return kLengths[code >> 5];
}

// By the ATA command in an ATA PASS-THROUGH, as far as that says what it does.
// Source: SAT-4, 12.2.2.
Effect EffectInside(const std::vector<std::uint8_t>& cdb, DataDirection direction) {
  const bool isLong = cdb[0] == 0x85;
  AtaCommand inner;
  inner.feature = isLong ? static_cast<std::uint16_t>(cdb[3] << 8 | cdb[4]) : cdb[3];
  inner.lba = isLong ? cdb[8] : cdb[5];
  inner.command = isLong ? cdb[14] : cdb[9];
  // Resets of the device are protocols, too.
  constexpr int kNonData = 3, kPioIn = 4, kDma = 6;
  const int protocol = cdb[1] >> 1 & 0x0F;
  const bool isIn = (cdb[2] & 0x08) != 0;
  const bool fits = protocol == kNonData
                        ? direction == kNoData
                        : (protocol == kPioIn || (protocol == kDma && isIn)) && direction == kIn;
  // Parks the bus, or makes the drive transfer on its own terms.
  const bool isPlain = (cdb[2] & 0xC0) == 0;
  return fits && isPlain ? EffectIn(inner, direction) : Effect::kChangesMedium;
}

bool HasReservedBits(const std::vector<std::uint8_t>& cdb, const Reserved& reserved) {
  // What stands in the last byte asks the drive to treat errors in another way.
  if (cdb.back() != 0) return true;
  for (std::size_t i = 0; i < cdb.size(); ++i) {
    if ((cdb[i] & reserved[i]) != 0) return true;
  }
  return false;
}

Effect EffectIn(const ScsiCommand& command, DataDirection direction) {
  const std::vector<std::uint8_t>& cdb = command.cdb;
  if (cdb.empty() || cdb.size() != LengthOf(cdb[0])) return Effect::kChangesMedium;
  if (cdb[0] == 0x85 || cdb[0] == 0xA1) return EffectInside(cdb, direction);
  if (cdb[0] == 0x4D && (cdb[2] & 0x3F) == kTapeAlertPage) return Effect::kChangesMedium;
  const auto fits = [&](const ScsiRow& row) {
    return row.code == cdb[0] && (cdb[1] & row.mask) == row.value &&
           (row.mayHaveData || direction == kNoData) && !HasReservedBits(cdb, row.reserved);
  };
  if (AnyOf(kScsiReads, fits)) return Effect::kReads;
  return AnyOf(kScsiChanges, fits) ? Effect::kChangesDrive : Effect::kChangesMedium;
}

Effect EffectIn(const NvmeAdminCommand& command, DataDirection direction) {
  const auto fits = [&](const NvmeRow& row) {
    return row.opcode == command.opcode && (command.dwords[0] & row.mask) == row.value;
  };
  if (AnyOf(kNvmeReads, fits)) return Effect::kReads;
  return direction == kNoData && AnyOf(kNvmeChanges, fits) ? Effect::kChangesDrive
                                                           : Effect::kChangesMedium;
}

}  // namespace

CommandEffect EffectOf(const DriveCommand& command) {
  if (command.direction == DataDirection::kToDevice || !command.dataOut.empty()) {
    return Effect::kChangesMedium;
  }
  return std::visit([&](const auto& one) { return EffectIn(one, command.direction); },
                    command.command);
}

bool OnlyReads(const DriveCommand& command) {
  return EffectOf(command) == Effect::kReads;
}

}  // namespace orvan::sdk
