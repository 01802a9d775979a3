#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "service/sdk/block_reader.h"

namespace orvan::machine {

using sdk::BlockGeometry;
using sdk::BlockRead;
using sdk::BlockReader;
using sdk::BlockReadResult;
using sdk::ReaderState;
using sdk::ReadOutcome;

// What is wrong with a disk that exists in memory only. Sectors are logical ones.
struct DiskFaults {
  std::map<std::uint64_t, int> badSectors;         // sector to errno
  std::function<int(std::uint64_t sector)> isBad;  // for disks too big to list; 0: readable
  // Sectors whose failures heal: so many reads fail before they succeed.
  std::map<std::uint64_t, int> failuresLeft;
  std::set<std::uint64_t> hangingSectors;
  // After so many answered reads the disk is gone; negative: never.
  std::int64_t vanishAfterReads = -1;
  // After so many answered reads the reader itself ends in this state; negative: never.
  std::int64_t loseAfterReads = -1;
  ReaderState lostAs = ReaderState::kLost;
  // Sectors that the reader cannot hand over: sector to errno.
  std::map<std::uint64_t, int> untriedSectors = {};
  // A failing read takes those queued beside it along, as the block layer's merging does.
  bool failNeighbours = false;
  // A hanging read is answered as timed out at this many calls of Collect without other news; 0:
  // the reader is declared hung instead; negative: nothing ever comes.
  int callsUntilTimeOut = 3;
  // Sectors that keep the disk, which answers in the order of the reads, busy for so long.
  std::map<std::uint64_t, std::chrono::milliseconds> slowSectors = {};
};

// A disk in memory that fails on purpose, for tests: same contract as the live reader, no time
// passes. Sectors without a fault can be read. One thread.
class FaultyBlockReader final : public BlockReader {
 public:
  FaultyBlockReader(BlockGeometry geometry, DiskFaults faults, std::uint32_t depth);

  const BlockGeometry& Geometry() const override { return geometry_; }
  std::uint32_t Capacity() const override { return 2 * depth_; }
  void Submit(const std::vector<BlockRead>& reads) override;
  ReaderState Collect(std::vector<BlockReadResult>& results,
                      std::chrono::milliseconds wait) override;

  // Every read that was submitted, in order.
  const std::vector<BlockRead>& Submitted() const { return submitted_; }
  void MakeSlow(std::uint64_t sector, std::chrono::milliseconds delay) {
    faults_.slowSectors[sector] = delay;
  }
  std::uint32_t MostOutstanding() const { return mostOutstanding_; }
  // Called at the begin of every Collect.
  std::function<void()> onCollect;
  // The reader's clock; without one only slow sectors take time.
  std::function<std::chrono::nanoseconds()> clock;

 private:
  struct Queued {
    BlockRead read;
    std::chrono::nanoseconds submitted;
  };
  std::chrono::nanoseconds Time() const {
    return (clock ? clock() : std::chrono::nanoseconds{}) + late_;
  }
  std::chrono::nanoseconds Delay(const BlockRead& read) const;
  enum class Fate { kReadable, kBad, kHangs, kUntried };
  Fate Judge(const BlockRead& read, int& error);
  int SectorError(std::uint64_t sector);
  ReaderState CollectHung(std::vector<BlockReadResult>& results);

  BlockGeometry geometry_;
  DiskFaults faults_;
  std::uint32_t depth_;
  std::vector<BlockRead> submitted_;
  std::deque<Queued> queue_;
  std::chrono::nanoseconds late_{};  // by slow sectors
  // When the last reads ended, as many as are at the disk at once: a read is given to it when the
  // first of them has ended.
  std::deque<std::chrono::nanoseconds> ended_;
  std::vector<BlockRead> hanging_;
  std::uint32_t mostOutstanding_ = 0;
  std::int64_t answered_ = 0;
  int quietCalls_ = 0;
};

}  // namespace orvan::machine
