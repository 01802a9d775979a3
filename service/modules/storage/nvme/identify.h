#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"
#include "service/modules/storage/nvme/wide_count.h"

// Data of IDENTIFY. Pure; any thread.
namespace orvan::storage::nvme {

inline constexpr std::size_t kIdentifyBytes = 4096;

// What the controller tells 0 of, which means nothing, is none.
// Source: NVM Express Base 2.0, 5.17.2.1, table "Identify Controller data structure".
struct Controller {
  std::string serial;
  std::string model;
  std::string firmware;
  std::uint16_t vendor = 0;                   // of PCI
  std::optional<std::uint32_t> version;       // 00010400h: 1.4
  std::optional<std::uint8_t> transferPages;  // at most, as a power of two of pages of memory
  bool hasSecurity = false;                   // SECURITY SEND and RECEIVE
  bool hasFormat = false;
  bool hasSelfTest = false;
  bool hasTrim = false;  // DATASET MANAGEMENT
  bool hasVolatileCache = false;
  bool hasHealthOfNamespaces = false;  // SMART / Health of each one
  bool hasLongLogs = false;            // GET LOG PAGE with an offset, and more than 16 KiB
  bool testsOneAtATime = false;        // of the subsystem's controllers
  std::uint16_t errorEntries = 1;      // 1 to 256
  std::uint32_t namespaces = 0;        // the highest number that one may have
  std::optional<std::uint16_t> warningKelvin;
  std::optional<std::uint16_t> criticalKelvin;
  std::optional<WideCount> totalBytes;
  std::optional<WideCount> unallocatedBytes;
  std::optional<std::uint16_t> extendedTestMinutes;
  bool canCryptoErase = false;  // SANITIZE, as the next two
  bool canBlockErase = false;
  bool canOverwrite = false;
};
Decoded<Controller> DecodeController(Bytes answer);

// How the blocks of a namespace may be.
struct BlockFormat {
  std::uint64_t dataBytes = 0;  // 512 or a larger power of two; 0: not available
  std::uint16_t metadataBytes = 0;
  std::uint8_t performance = 0;  // 0: best, 3: degraded
};

// Source: NVM Express NVM Command Set 1.0, 4.1.5.1, tables "Identify Namespace data structure" and
// "LBA Format data structure".
struct Namespace {
  std::uint64_t blocks = 0;  // its size
  std::uint64_t blocksThatMayBeUsed = 0;
  std::uint64_t blocksInUse = 0;
  std::vector<BlockFormat> formats;
  std::size_t format = 0;  // which of them it has
  bool isThin = false;
  bool hasDataTags = false;         // metadata at the end of each block, and not apart
  std::uint8_t protectionType = 0;  // 1 to 3; 0: none
  std::optional<WideCount> bytes;   // allocated for it
  std::optional<std::array<std::uint8_t, 16>> globalId;
  std::optional<std::array<std::uint8_t, 8>> eui64;
};
Decoded<Namespace> DecodeNamespace(Bytes answer);

// "eui.0025385b71b0cafe": of the 16 bytes when there are any, else of the 8; empty: neither.
std::string WorldWideName(const Namespace& found);

}  // namespace orvan::storage::nvme
