#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "service/modules/storage/ata/self_test_status.h"
#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// One attribute as the drive tells it. Value and worst are normalized: the drive's maker decides
// what they are made of, and they get smaller as it gets worse.
// Source: SFF-8035i, device attributes data structure.
struct Attribute {
  std::uint8_t id = 0;
  std::uint16_t flags = 0;
  std::uint8_t value = 0;
  std::uint8_t worst = 0;
  std::array<std::uint8_t, 6> raw = {};  // the least significant byte first

  // Below its threshold it says that a failure is near; without, only that the drive is old or
  // worn.
  bool IsPreFailure() const { return (flags & 1U) != 0; }
  bool IsOnline() const { return (flags & 2U) != 0; }  // kept up while the drive works
};

// Whether a normalized value is one that the standard has. Source: SFF-8035i, attribute value:
// 01h to FDh; 00h, FEh and FFh are invalid. Drives count down to 00h all the same.
constexpr bool IsValidValue(std::uint8_t value) {
  return value >= 0x01 && value <= 0xFD;
}

// What SMART READ DATA says.
// Source: SFF-8035i, device attributes data structure (bytes 0-361); ATA8-ACS, SMART READ DATA,
// table of the device SMART data structure (bytes 362-511).
struct SmartData {
  std::vector<Attribute> attributes;  // as they stand there, each id once
  SelfTestStatus selfTest;            // the self-test that runs or ran last
  bool hasSelfTests = false;
  bool hasConveyanceTest = false;
  bool hasErrorLog = false;
  // The drive's own estimates in minutes; none where it gives none.
  std::optional<std::uint16_t> shortMinutes;
  std::optional<std::uint16_t> extendedMinutes;

  const Attribute* Find(std::uint8_t id) const;
};

// Trouble beside a value names attributes that were left out because their id stands there twice.
Decoded<SmartData> DecodeSmartData(Bytes bytes);

// What SMART READ THRESHOLDS says. Source: SFF-8035i, device attribute
// thresholds data structure.
struct Thresholds {
  // By attribute; none for one that the answer does not have.
  std::array<std::optional<std::uint8_t>, 256> byId;
};

Decoded<Thresholds> DecodeThresholds(Bytes bytes);

enum class AttributeState {
  kFine,
  kFailedBefore,  // the worst value ever is at or below the threshold, that of now is above
  kFailed,        // the value is at or below the threshold now
  kUnknown,       // no threshold, one that the standard calls invalid, or a value above all others
};

// Source: SFF-8035i, attribute threshold:  00h is always passed, FFh never, FEh is invalid.
AttributeState StateOf(const Attribute& attribute, const Thresholds& thresholds);

}  // namespace orvan::storage::ata
