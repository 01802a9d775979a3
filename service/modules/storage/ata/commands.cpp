#include "service/modules/storage/ata/commands.h"

#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {
namespace {

struct Row {
  std::uint8_t command;
  bool has28Bits;
  const char* name;
};
// Those that drives meet errors in: what moves data of the medium, and what hosts send beside.
// Source: ACS-4, 7, and annex of command codes; ATA/ATAPI-6 for those that are obsolete.
constexpr std::array<Row, 33> kCommands = {{
    {0x06, false, "DATA SET MANAGEMENT"},
    {0x20, true, "READ SECTOR(S)"},
    {0x24, false, "READ SECTOR(S) EXT"},
    {0x25, false, "READ DMA EXT"},
    {0x29, false, "READ MULTIPLE EXT"},
    {0x2F, false, "READ LOG EXT"},
    {0x30, true, "WRITE SECTOR(S)"},
    {0x34, false, "WRITE SECTOR(S) EXT"},
    {0x35, false, "WRITE DMA EXT"},
    {0x39, false, "WRITE MULTIPLE EXT"},
    {0x3D, false, "WRITE DMA FUA EXT"},
    {0x3F, false, "WRITE LOG EXT"},
    {0x40, true, "READ VERIFY SECTOR(S)"},
    {0x42, false, "READ VERIFY SECTOR(S) EXT"},
    {0x45, false, "WRITE UNCORRECTABLE EXT"},
    {0x47, false, "READ LOG DMA EXT"},
    {0x60, false, "READ FPDMA QUEUED"},
    {0x61, false, "WRITE FPDMA QUEUED"},
    {0x64, false, "SEND FPDMA QUEUED"},
    {0x90, true, "EXECUTE DEVICE DIAGNOSTIC"},
    {0xB0, true, "SMART"},
    {0xC4, true, "READ MULTIPLE"},
    {0xC5, true, "WRITE MULTIPLE"},
    {0xC8, true, "READ DMA"},
    {0xCA, true, "WRITE DMA"},
    {0xCE, false, "WRITE MULTIPLE FUA EXT"},
    {0xE0, true, "STANDBY IMMEDIATE"},
    {0xE1, true, "IDLE IMMEDIATE"},
    {0xE5, true, "CHECK POWER MODE"},
    {0xE7, true, "FLUSH CACHE"},
    {0xEA, false, "FLUSH CACHE EXT"},
    {0xEC, true, "IDENTIFY DEVICE"},
    {0xEF, true, "SET FEATURES"},
}};

const Row* Find(std::uint8_t command) {
  const auto* row = std::find_if(kCommands.begin(), kCommands.end(),
                                 [command](const Row& row) { return row.command == command; });
  return row == kCommands.end() ? nullptr : row;
}

}  // namespace

std::string CommandName(std::uint8_t command) {
  const Row* row = Find(command);
  return row == nullptr ? "command " + HexByte(command) : row->name;
}

bool Has28BitLba(std::uint8_t command) {
  const Row* row = Find(command);
  return row != nullptr && row->has28Bits;
}

}  // namespace orvan::storage::ata
