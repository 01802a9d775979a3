#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {

// Source: ACS-4, 7.12, IDENTIFY DEVICE data, word 128.
struct Security {
  bool isSupported = false;
  bool isEnabled = false;       // a password is set
  bool isLocked = false;        // no data is read or written until it is unlocked
  bool isFrozen = false;        // no security command is taken until the next power cycle
  bool isCountExpired = false;  // too many wrong passwords since the last power cycle
};

// What IDENTIFY DEVICE says. What the drive does not say is none, and so is what it says in a way
// that the standard does not have.
// Source: ACS-4, 7.12, table of IDENTIFY DEVICE data.
struct Identify {
  std::string serial;
  std::string firmware;
  std::string model;
  std::optional<std::uint64_t> worldWideName;
  // User addressable logical sectors: the largest of the fields that the drive has.
  std::optional<std::uint64_t> sectors;
  std::uint32_t logicalSectorBytes = 512;
  std::uint32_t physicalSectorBytes = 512;
  // Where logical sector 0 lies in its physical sector, in logical sectors.
  std::optional<std::uint16_t> alignment;
  bool has48BitCommands = false;

  std::optional<bool> isRotating;
  std::optional<std::uint16_t> rotationsPerMinute;
  std::optional<std::string> formFactor;   // "3.5 inches"
  std::optional<std::uint8_t> queueDepth;  // none without native command queuing
  bool hasTrim = false;
  bool readsZerosAfterTrim = false;
  Security security;

  // In units of 100 megabits a second: 15, 30, 60. None for what is no SATA drive.
  std::optional<std::uint16_t> mostSpeed;
  std::optional<std::uint16_t> speedNow;

  bool hasSmart = false;
  bool isSmartEnabled = false;
  bool hasErrorLog = false;
  bool hasSelfTests = false;
  bool hasLogs = false;  // general purpose logging: READ LOG EXT

  // The drive put a checksum into its answer, and it is right.
  bool isChecked = false;
};

Decoded<Identify> DecodeIdentify(Bytes bytes);

// "locked", "no password set, frozen"; "none" where it is not supported.
std::string SecurityText(const Security& security);

// "6.0 Gb/s", of a speed in units of 100 megabits a second.
std::string SpeedText(std::uint16_t speed);

}  // namespace orvan::storage::ata
