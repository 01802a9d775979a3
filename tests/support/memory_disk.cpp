#include "tests/support/memory_disk.h"

#include <algorithm>
#include <cerrno>

namespace orvan::sdk::testing {
namespace {

using Outcome = TransferResult::Outcome;

}  // namespace

template <typename Use>
void MemoryDisk::ForEachSector(std::uint64_t offset, std::size_t size, Use use) const {
  const std::uint64_t bytes = geometry_.logicalSectorBytes;
  for (std::size_t at = 0; at < size; at += bytes) use((offset + at) / bytes, at);
}

bool MemoryDisk::IsThereNow() {
  const std::uint64_t access = accesses_++;
  if (!faults.vanishAfter || access < *faults.vanishAfter) return hasPower_;
  return hasPower_ && access - *faults.vanishAfter >= faults.goneFor;
}

int MemoryDisk::SectorError(std::uint64_t sector) const {
  if (!hasPower_) return ENODEV;
  const auto bad = faults.badSectors.find(sector);
  return bad == faults.badSectors.end() ? 0 : bad->second;
}

TransferResult MemoryDisk::Write(std::uint64_t offset, std::span<const std::byte> data) {
  if (faults.cutAfterWrites && writes_ >= *faults.cutAfterWrites) CutPower();
  if (!IsThereNow()) return {Outcome::kFailed, ENODEV};
  TransferResult result{Outcome::kDone, 0};
  CachedWrite write;
  write.sector = offset / geometry_.logicalSectorBytes;
  ForEachSector(offset, data.size(), [&](std::uint64_t sector, std::size_t at) {
    if (!result.IsDone()) return;
    const auto failing = faults.failingWrites.find(sector);
    if (faults.hangingWrites.contains(sector)) result = {Outcome::kTimedOut, 0};
    if (failing != faults.failingWrites.end()) result = {Outcome::kFailed, failing->second};
    if (!result.IsDone()) return;
    const auto bytes = data.subspan(at, geometry_.logicalSectorBytes);
    write.sectors.emplace_back(bytes.begin(), bytes.end());
    writtenSectors_.insert(sector);
    if (faults.healsOnWrite) faults.badSectors.erase(sector);
    const auto breaking = faults.breakingWrites.find(sector);
    if (breaking != faults.breakingWrites.end()) faults.badSectors[sector] = breaking->second;
  });
  ++writes_;
  cache_.push_back(std::move(write));
  if (!faults.hasVolatileCache) {
    Apply(cache_.back());
    cache_.clear();
  }
  return result;
}

TransferResult MemoryDisk::Read(std::uint64_t offset, std::span<std::byte> data) {
  if (!IsThereNow()) return {Outcome::kFailed, ENODEV};
  TransferResult result{Outcome::kDone, 0};
  ForEachSector(offset, data.size(), [&](std::uint64_t sector, std::size_t at) {
    if (!result.IsDone()) return;
    if (const int error = SectorError(sector); error != 0) {
      result = {Outcome::kFailed, error};
      return;
    }
    const Sector* bytes = nullptr;
    const auto onMedium = medium_.find(PlaceOf(sector));
    if (onMedium != medium_.end()) bytes = &onMedium->second;
    for (const CachedWrite& write : cache_) {
      if (sector < write.sector || sector - write.sector >= write.sectors.size()) continue;
      bytes = &write.sectors[sector - write.sector];
    }
    const auto place = data.subspan(at, geometry_.logicalSectorBytes);
    std::fill(place.begin(), place.end(), std::byte{0});
    if (bytes != nullptr) std::copy(bytes->begin(), bytes->end(), place.begin());
    const auto stuck = faults.stuckBits.find(sector);
    if (stuck != faults.stuckBits.end()) place[stuck->second.first] |= stuck->second.second;
  });
  return result;
}

TransferResult MemoryDisk::Flush() {
  if (!IsThereNow()) return {Outcome::kFailed, ENODEV};
  ++flushes_;
  if (faults.flushError != 0) return {Outcome::kFailed, faults.flushError};
  for (const CachedWrite& write : cache_) Apply(write);
  cache_.clear();
  return {Outcome::kDone, 0};
}

void MemoryDisk::Apply(const CachedWrite& write) {
  for (std::size_t i = 0; i < write.sectors.size(); ++i) {
    const std::uint64_t sector = write.sector + i;
    if (faults.lostWrites.contains(sector)) continue;
    const auto misplaced = faults.misplacedWrites.find(sector);
    const bool isElsewhere = misplaced != faults.misplacedWrites.end();
    medium_[PlaceOf(isElsewhere ? misplaced->second : sector)] = write.sectors[i];
  }
}

void MemoryDisk::RestorePower(
    const std::function<bool(std::size_t write, std::uint64_t sector)>& isKept) {
  for (std::size_t i = 0; i < cache_.size(); ++i) {
    for (std::size_t k = 0; k < cache_[i].sectors.size(); ++k) {
      const std::uint64_t sector = cache_[i].sector + k;
      if (isKept(i, sector)) medium_[sector] = cache_[i].sectors[k];
    }
  }
  cache_.clear();
  hasPower_ = true;
  faults.cutAfterWrites.reset();
}

}  // namespace orvan::sdk::testing
