#include "service/sdk/drive_command.h"

#include <algorithm>
#include <array>

namespace orvan::sdk {
namespace {

// Commands that change nothing. What tells them from others of the same code is a value below a
// mask; a code may have several rows.

// Source: ACS-4, 7 (commands), and where a feature is named, the subcommands of that command. READ
// LOG counts without a feature alone, for one of them resets the counters that are read
// (Serial ATA: phy event counters).
struct AtaRow {
  std::uint8_t command;
  DataDirection direction;
  std::uint16_t featureMask = 0;
  std::uint16_t feature = 0;
};
constexpr std::uint16_t kWhole = 0xFFFF;
constexpr auto kIn = DataDirection::kFromDevice;
constexpr auto kNoData = DataDirection::kNone;
constexpr std::array kAtaReads = {
    AtaRow{0x20, kIn},                    // READ SECTOR(S)
    AtaRow{0x24, kIn},                    // READ SECTOR(S) EXT
    AtaRow{0x25, kIn},                    // READ DMA EXT
    AtaRow{0x27, kNoData},                // READ NATIVE MAX ADDRESS EXT (ACS-2)
    AtaRow{0x29, kIn},                    // READ MULTIPLE EXT
    AtaRow{0x2F, kIn, kWhole, 0},         // READ LOG EXT
    AtaRow{0x40, kNoData},                // READ VERIFY SECTOR(S)
    AtaRow{0x42, kNoData},                // READ VERIFY SECTOR(S) EXT
    AtaRow{0x47, kIn, kWhole, 0},         // READ LOG DMA EXT
    AtaRow{0x4A, kIn, 0x1F, 0},           // ZAC MANAGEMENT IN: REPORT ZONES
    AtaRow{0x5C, kIn, 0xFF, 0},           // TRUSTED RECEIVE: which protocols there are
    AtaRow{0x5D, kIn, 0xFF, 0},           // TRUSTED RECEIVE DMA: the same
    AtaRow{0x78, kNoData, kWhole, 0},     // GET NATIVE MAX ADDRESS EXT
    AtaRow{0xA1, kIn},                    // IDENTIFY PACKET DEVICE
    AtaRow{0xB0, kIn, kWhole, 0xD0},      // SMART READ DATA
    AtaRow{0xB0, kIn, kWhole, 0xD1},      // SMART READ ATTRIBUTE THRESHOLDS (ATA-3)
    AtaRow{0xB0, kIn, kWhole, 0xD5},      // SMART READ LOG
    AtaRow{0xB0, kNoData, kWhole, 0xDA},  // SMART RETURN STATUS
    AtaRow{0xB1, kIn, kWhole, 0xC2},      // DEVICE CONFIGURATION IDENTIFY (ACS-2)
    AtaRow{0xC4, kIn},                    // READ MULTIPLE
    AtaRow{0xC8, kIn},                    // READ DMA
    AtaRow{0xE5, kNoData},                // CHECK POWER MODE
    AtaRow{0xEC, kIn},                    // IDENTIFY DEVICE
    AtaRow{0xF8, kNoData},                // READ NATIVE MAX ADDRESS (ACS-2)
};

// Source: SPC-5, 6; SBC-4, 5; ZBC, 5. The mask is of byte 1: a service action, a mode or a page.
struct ScsiRow {
  std::uint8_t code;
  std::uint8_t mask = 0;
  std::uint8_t value = 0;
  bool mayHaveData = true;
};
constexpr std::uint8_t kAction = 0x1F;
constexpr std::array kScsiReads = {
    ScsiRow{0x00},                  // TEST UNIT READY
    ScsiRow{0x03},                  // REQUEST SENSE
    ScsiRow{0x08},                  // READ(6)
    ScsiRow{0x12},                  // INQUIRY
    ScsiRow{0x1A},                  // MODE SENSE(6)
    ScsiRow{0x1C},                  // RECEIVE DIAGNOSTIC RESULTS
    ScsiRow{0x25},                  // READ CAPACITY(10)
    ScsiRow{0x28},                  // READ(10)
    ScsiRow{0x2F, 0x06, 0, false},  // VERIFY(10) without bytes to compare
    ScsiRow{0x37},                  // READ DEFECT DATA(10)
    ScsiRow{0x3C, kAction, 0x02},   // READ BUFFER(10): data
    ScsiRow{0x3C, kAction, 0x03},   // READ BUFFER(10): descriptor
    ScsiRow{0x4D, 0x01, 0},         // LOG SENSE that saves no parameters
    ScsiRow{0x5A},                  // MODE SENSE(10)
    ScsiRow{0x5E, kAction, 0x00},   // PERSISTENT RESERVE IN: READ KEYS
    ScsiRow{0x5E, kAction, 0x01},   // PERSISTENT RESERVE IN: READ RESERVATION
    ScsiRow{0x5E, kAction, 0x02},   // PERSISTENT RESERVE IN: REPORT CAPABILITIES
    ScsiRow{0x5E, kAction, 0x03},   // PERSISTENT RESERVE IN: READ FULL STATUS
    ScsiRow{0x88},                  // READ(16)
    ScsiRow{0x8F, 0x06, 0, false},  // VERIFY(16) without bytes to compare
    ScsiRow{0x95, kAction, 0x00},   // ZBC IN: REPORT ZONES
    ScsiRow{0x9E, kAction, 0x10},   // READ CAPACITY(16)
    ScsiRow{0x9E, kAction, 0x12},   // GET LBA STATUS
    ScsiRow{0x9E, kAction, 0x17},   // GET PHYSICAL ELEMENT STATUS
    ScsiRow{0xA0},                  // REPORT LUNS
    ScsiRow{0xA2, 0xFF, 0x00},      // SECURITY PROTOCOL IN: which protocols there are
    ScsiRow{0xA3, kAction, 0x05},   // REPORT IDENTIFYING INFORMATION
    ScsiRow{0xA3, kAction, 0x0A},   // REPORT TARGET PORT GROUPS
    ScsiRow{0xA3, kAction, 0x0C},   // REPORT SUPPORTED OPERATION CODES
    ScsiRow{0xA3, kAction, 0x0D},   // REPORT SUPPORTED TASK MANAGEMENT FUNCTIONS
    ScsiRow{0xA3, kAction, 0x0E},   // REPORT PRIORITY
    ScsiRow{0xA3, kAction, 0x0F},   // REPORT TIMESTAMP
    ScsiRow{0xA8},                  // READ(12)
    ScsiRow{0xAF, 0x06, 0, false},  // VERIFY(12) without bytes to compare
    ScsiRow{0xB7},                  // READ DEFECT DATA(12)
};

// Source: NVM Express Base 2.0, 5 (admin command set). The mask is of command dword 10.
struct NvmeRow {
  std::uint8_t opcode;
  std::uint32_t mask = 0;
};
constexpr std::array kNvmeReads = {
    // Get Log Page without a field that is the log's own: one makes new telemetry, one begins to
    // gather persistent events.
    NvmeRow{0x02, 0x00007F00}, NvmeRow{0x06},  // Identify
    NvmeRow{0x0A},                             // Get Features
    NvmeRow{0x82, 0xFF000000},                 // Security Receive: which protocols there are
};

bool IsListed(const AtaCommand& command, DataDirection direction) {
  return std::any_of(kAtaReads.begin(), kAtaReads.end(), [&](const AtaRow& row) {
    return row.command == command.command && row.direction == direction &&
           (command.feature & row.featureMask) == row.feature;
  });
}

// Source: SPC-5, 4.2.5.1: the length that the three highest bits of the operation code tell; 0:
// they tell none.
std::size_t LengthOf(std::uint8_t code) {
  static constexpr std::array<std::size_t, 8> kLengths = {6, 10, 10, 0, 16, 12, 0, 0};
  return kLengths[code >> 5];
}

// The ATA command in an ATA PASS-THROUGH, as far as it says what the command does.
// Source: SAT-4, 12.2.2.
bool IsListedInside(const std::vector<std::uint8_t>& cdb, DataDirection direction) {
  const bool isLong = cdb[0] == 0x85;
  AtaCommand inner;
  inner.feature = isLong ? static_cast<std::uint16_t>(cdb[3] << 8 | cdb[4]) : cdb[3];
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
  return fits && isPlain && IsListed(inner, direction);
}

bool IsListed(const ScsiCommand& command, DataDirection direction) {
  const std::vector<std::uint8_t>& cdb = command.cdb;
  if (cdb.empty() || cdb.size() != LengthOf(cdb[0])) return false;
  if (cdb[0] == 0x85 || cdb[0] == 0xA1) return IsListedInside(cdb, direction);
  return std::any_of(kScsiReads.begin(), kScsiReads.end(), [&](const ScsiRow& row) {
    return row.code == cdb[0] && (cdb[1] & row.mask) == row.value &&
           (row.mayHaveData || direction == kNoData);
  });
}

bool IsListed(const NvmeAdminCommand& command, DataDirection /*direction*/) {
  return std::any_of(kNvmeReads.begin(), kNvmeReads.end(), [&](const NvmeRow& row) {
    return row.opcode == command.opcode && (command.dwords[0] & row.mask) == 0;
  });
}

}  // namespace

bool OnlyReads(const DriveCommand& command) {
  if (command.direction == DataDirection::kToDevice || !command.dataOut.empty()) return false;
  return std::visit([&](const auto& one) { return IsListed(one, command.direction); },
                    command.command);
}

}  // namespace orvan::sdk
