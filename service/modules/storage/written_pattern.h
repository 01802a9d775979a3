#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orvan::storage {

// What the write test puts into a sector: a head that names the sector, the pass and the run, and
// bytes behind it that follow from these, so that each sector of each run is like no other one. The
// sectors of an odd pass are those of the pass before with every bit turned round, the head too: so
// each bit of the surface, and of the way to it, is seen as 0 and as 1. No state; any thread.
struct SectorName {
  std::uint64_t run = 0;
  std::uint32_t pass = 0;  // 0: the first
  std::uint64_t lba = 0;
  bool operator==(const SectorName&) const = default;
};

// A sector has to hold the head.
inline constexpr std::size_t kSectorHeadBytes = 40;

// Fills whole sectors of that size, of which the first has that name and each further one the next
// address.
void FillSectors(const SectorName& first, std::size_t sectorBytes, std::span<std::byte> sectors);

// The name in the head of a sector, whose rest may be anything; none when it has none.
std::optional<SectorName> NameIn(std::span<const std::byte> sector);

// Whether somebody's data may stand in a sector: it is neither all zeros nor all ones, nor one of
// ours.
bool MayBeData(std::span<const std::byte> sector);

enum class SectorKind {
  kRight,
  kZeros,
  kOnes,
  kOtherAddress,  // names another address of this run
  kOtherPass,     // names another pass of this run, and the right address
  kOtherRun,      // names another run
  kBits,          // right but for some bits
  kForeign,       // none of these
};

struct SectorFinding {
  SectorKind kind = SectorKind::kRight;
  SectorName name = {};         // of kOtherAddress, kOtherPass and kOtherRun
  std::uint64_t wrongBits = 0;  // of kBits; the place of the first byte with one is the next
  std::size_t firstWrongByte = 0;
};

// What stands in a sector that should be `right`, which has `name`. Both have the same size.
SectorFinding JudgeSector(const SectorName& name, std::span<const std::byte> right,
                          std::span<const std::byte> found);

}  // namespace orvan::storage
