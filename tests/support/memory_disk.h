#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "service/sdk/block_writer.h"

namespace orvan::sdk::testing {

// What is wrong with a disk in memory that can be written. Sectors are logical ones.
struct MediumFaults {
  std::map<std::uint64_t, int> badSectors = {};     // sector to the errno of its reads
  bool healsOnWrite = false;                        // a write makes a bad sector readable
  std::map<std::uint64_t, int> failingWrites = {};  // sector to the errno of its writes
  std::set<std::uint64_t> hangingWrites = {};       // sectors whose writes never come back
  std::map<std::uint64_t, int> breakingWrites =
      {};  // sector to the errno of its reads from then on
  std::map<std::uint64_t, std::uint64_t> misplacedWrites =
      {};                                   // what is written goes there instead
  std::set<std::uint64_t> lostWrites = {};  // said to be done, and not done
  // Of what was read from a sector, the bits at that byte are always 1.
  std::map<std::uint64_t, std::pair<std::size_t, std::byte>> stuckBits = {};
  // Not 0: there are only so many, which the addresses beyond share with those before.
  std::uint64_t realSectors = 0;
  int flushError = 0;                                // errno of each flush
  bool hasVolatileCache = false;                     // what was not flushed goes with the power
  std::optional<std::uint64_t> cutAfterWrites = {};  // the power goes with the write behind these
  // After so many accesses (reads, writes, flushes) the disk is gone for so many more.
  std::optional<std::uint64_t> vanishAfter = {};
  std::uint64_t goneFor = ~std::uint64_t{0};
};

// A disk in memory with contents, of which unwritten sectors are zero. One thread.
class MemoryDisk {
 public:
  explicit MemoryDisk(BlockGeometry geometry, MediumFaults faults = {})
      : faults(std::move(faults)), geometry_(geometry) {}

  const BlockGeometry& Geometry() const { return geometry_; }
  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data);
  TransferResult Read(std::uint64_t offset, std::span<std::byte> data);
  TransferResult Flush();
  // The errno of a read of one sector, which counts as one access when it is the first of a read.
  int SectorError(std::uint64_t sector) const;
  // One access is made. True as long as the disk is there.
  bool IsThereNow();

  // Without power every access fails with ENODEV. When it comes back, those of the writes that were
  // not flushed are on the medium that `isKept` keeps, by their place in the order of writing; each
  // sector of a write by itself. Cuts nothing twice.
  void CutPower() { hasPower_ = false; }
  bool HasPower() const { return hasPower_; }
  void RestorePower(const std::function<bool(std::size_t write, std::uint64_t sector)>& isKept);

  std::uint64_t Writes() const { return writes_; }
  std::uint64_t Flushes() const { return flushes_; }
  // Sectors that were written, ever.
  const std::set<std::uint64_t>& WrittenSectors() const { return writtenSectors_; }

  MediumFaults faults;

 private:
  using Sector = std::vector<std::byte>;
  struct CachedWrite {
    std::uint64_t sector = 0;
    std::vector<Sector> sectors;
  };
  template <typename Use>
  void ForEachSector(std::uint64_t offset, std::size_t size, Use use) const;
  void Apply(const CachedWrite& write);
  // Where a sector really is.
  std::uint64_t PlaceOf(std::uint64_t sector) const {
    return faults.realSectors == 0 ? sector : sector % faults.realSectors;
  }

  BlockGeometry geometry_;
  std::map<std::uint64_t, Sector> medium_;
  std::vector<CachedWrite> cache_;  // in the order of writing
  std::set<std::uint64_t> writtenSectors_;
  bool hasPower_ = true;
  std::uint64_t writes_ = 0;
  std::uint64_t flushes_ = 0;
  std::uint64_t accesses_ = 0;
};

}  // namespace orvan::sdk::testing
