#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

// Pages of vital product data, which INQUIRY gives. Pure; any thread.
namespace orvan::storage::scsi {

inline constexpr std::uint8_t kSupportedVitalPages = 0x00;
inline constexpr std::uint8_t kUnitSerialPage = 0x80;
inline constexpr std::uint8_t kDesignatorsPage = 0x83;
inline constexpr std::uint8_t kBlockLimitsPage = 0xB0;
inline constexpr std::uint8_t kBlockCharacteristicsPage = 0xB1;
inline constexpr std::uint8_t kProvisioningPage = 0xB2;

// What stands behind the head of a page; of a page that was cut, as much as came, with trouble.
// Source: SPC-5, 7.7.1, table "VPD page format".
Decoded<Bytes> VitalPageBody(Bytes answer, std::uint8_t page);

// The numbers of the pages that the device has. A bridge that answers its standard data instead is
// found out by what no list can be.
// Source: SPC-5, 7.7, table "Supported VPD Pages VPD page".
Decoded<std::vector<std::uint8_t>> DecodeSupportedVitalPages(Bytes answer);

// Empty when the device tells none, for which it may send blanks.
// Source: SPC-5, 7.7, table "Unit Serial Number VPD page".
Decoded<std::string> DecodeUnitSerial(Bytes answer);

// 0 of the standard, which means that nothing is told, is none here.
// Source: SBC-4, 6.6, table "Block Limits VPD page".
struct BlockLimits {
  std::optional<std::uint16_t> transferGranularity;  // in logical blocks, as all that follow
  std::optional<std::uint32_t> mostTransfer;
  std::optional<std::uint32_t> bestTransfer;
  std::optional<std::uint32_t> mostUnmapped;  // by one command; all ones: no limit
  std::optional<std::uint32_t> mostUnmapRanges;
  std::optional<std::uint32_t> unmapGranularity;
  std::optional<std::uint32_t> unmapAlignment;  // 0 is told, too
};
Decoded<BlockLimits> DecodeBlockLimits(Bytes answer);

enum class FormFactor : std::uint8_t { k5Inch25, k3Inch5, k2Inch5, k1Inch8, kLess };

// "3.5 inches".
const char* FormFactorText(FormFactor form);

// Source: SBC-4, 6.6, tables "Block Device Characteristics VPD page", "MEDIUM ROTATION RATE field",
// "NOMINAL FORM FACTOR field" and "ZONED field".
struct BlockCharacteristics {
  bool isSolidState = false;
  std::optional<std::uint16_t> rotationsPerMinute;
  std::optional<FormFactor> formFactor;
  bool isHostAware = false;      // zones that the host may mind
  bool isDeviceManaged = false;  // zones that the drive minds by itself
};
Decoded<BlockCharacteristics> DecodeBlockCharacteristics(Bytes answer);

enum class Provisioning : std::uint8_t { kFull, kResource, kThin };

// Source: SBC-4, 6.6, tables "Logical Block Provisioning VPD page" and "PROVISIONING TYPE field".
struct BlockProvisioning {
  bool hasUnmap = false;        // TRIM by the command UNMAP
  bool hasWriteSame16 = false;  // TRIM by WRITE SAME(16)
  bool hasWriteSame10 = false;
  bool readsZeros = false;  // what was unmapped
  std::optional<Provisioning> type;
};
Decoded<BlockProvisioning> DecodeProvisioning(Bytes answer);

}  // namespace orvan::storage::scsi
