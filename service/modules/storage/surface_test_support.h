#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "service/modules/storage/surface_read.h"
#include "tests/support/faulty_block_reader.h"

// What the tests of reading a surface share.
namespace orvan::storage {

// A run over a disk in memory, with a clock that moves 10 ms at every look.
struct MemoryRun {
  explicit MemoryRun(machine::DiskFaults faults, std::uint64_t sectors = 1000,
                     std::uint32_t sectorBytes = 512, std::uint32_t depth = 4)
      : reader({sectors * sectorBytes, sectorBytes, sectorBytes}, std::move(faults), depth) {
    plan.lastLba = sectors - 1;
    plan.sectorsPerBlock = 8;
    hooks.now = [this] { return time += std::chrono::milliseconds(10); };
    reader.clock = [this] { return time.time_since_epoch(); };
    hooks.progress = [this](int percent) { percents.push_back(percent); };
    hooks.firstBadSector = [this](std::uint64_t lba) { firstBad.push_back(lba); };
  }

  SurfaceResult Go(std::uint64_t mostNarrowed = kMostNarrowedSectors) {
    if (!plan.order.at) plan.order = LinearOrder(Blocks());
    return ReadSurface(reader, plan, stop.get_token(), hooks, mostNarrowed);
  }

  std::uint64_t Blocks() const {
    return CountBlocks(plan.firstLba, plan.lastLba, plan.sectorsPerBlock);
  }

  // How often each sector was read.
  std::vector<int> SectorReads() const {
    const auto& geometry = reader.Geometry();
    std::vector<int> counts(geometry.sizeBytes / geometry.logicalSectorBytes);
    for (const sdk::BlockRead& read : reader.Submitted()) {
      const std::uint64_t first = read.offsetBytes / geometry.logicalSectorBytes;
      for (std::uint64_t i = 0; i < read.sizeBytes / geometry.logicalSectorBytes; ++i) {
        ++counts.at(first + i);
      }
    }
    return counts;
  }

  machine::FaultyBlockReader reader;
  SurfacePlan plan;
  SurfaceHooks hooks;
  std::stop_source stop;
  std::chrono::steady_clock::time_point time;
  std::vector<int> percents;
  std::vector<std::uint64_t> firstBad;
};

inline machine::DiskFaults Bad(std::initializer_list<std::uint64_t> sectors, int error = EIO) {
  machine::DiskFaults faults;
  for (const std::uint64_t sector : sectors) faults.badSectors[sector] = error;
  return faults;
}

}  // namespace orvan::storage
