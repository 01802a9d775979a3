#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "service/modules/storage/bytes.h"

namespace orvan::storage::ata {

// Source: ACS-4, 7.12 (IDENTIFY DEVICE) and 9 (log definitions): data and pages of logs have 512
// bytes; ATA8-ACS, SMART READ DATA (B0h/D0h), the same.
constexpr std::size_t kPageBytes = 512;

constexpr std::uint16_t Word(Bytes page, std::size_t word) {
  return Little<std::uint16_t>(page, 2 * word);
}

// Whether a word that says so itself holds data, and not what drives leave there.
// Source: ACS-4, 7.12, words 83, 84, 87, 106 and 209: bit 15 is 0 and bit 14 is 1.
constexpr bool HoldsData(std::uint16_t word) {
  return (word & 0xC000U) == 0x4000U;
}

// Why a page is not one that a drive fills in: too short, or nothing but zeros or ones. Empty when
// there is nothing against it. What is behind the page is not looked at.
std::string TroubleOfPage(Bytes bytes);

// The same for a page whose bytes add up to 0; `what` names it ("the SMART data").
// Source: ATA8-ACS, SMART READ DATA, data structure checksum: the last byte makes the sum of all
// 512 bytes 0 in its low 8 bits.
std::string TroubleOfSummedPage(Bytes bytes, const std::string& what);

}  // namespace orvan::storage::ata
