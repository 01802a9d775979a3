#include "tests/support/faulty_block_reader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace orvan::machine {

using namespace std::chrono_literals;

FaultyBlockReader::FaultyBlockReader(BlockGeometry geometry, DiskFaults faults, std::uint32_t depth)
    : geometry_(geometry), faults_(std::move(faults)), depth_(depth) {}

void FaultyBlockReader::Submit(const std::vector<BlockRead>& reads) {
  submitted_.insert(submitted_.end(), reads.begin(), reads.end());
  for (const BlockRead& read : reads) queue_.push_back({read, Time()});
  mostOutstanding_ =
      std::max(mostOutstanding_, static_cast<std::uint32_t>(queue_.size() + hanging_.size()));
}

int FaultyBlockReader::SectorError(std::uint64_t sector) {
  const auto healing = faults_.failuresLeft.find(sector);
  if (healing != faults_.failuresLeft.end() && healing->second > 0) {
    --healing->second;
    return EIO;
  }
  const auto bad = faults_.badSectors.find(sector);
  if (bad != faults_.badSectors.end()) return bad->second;
  return faults_.isBad ? faults_.isBad(sector) : 0;
}

FaultyBlockReader::Fate FaultyBlockReader::Judge(const BlockRead& read, int& error) {
  const std::uint64_t first = read.offsetBytes / geometry_.logicalSectorBytes;
  const std::uint64_t end = first + read.sizeBytes / geometry_.logicalSectorBytes;
  const auto hangs = faults_.hangingSectors.lower_bound(first);
  if (hangs != faults_.hangingSectors.end() && *hangs < end) return Fate::kHangs;
  const auto untried = faults_.untriedSectors.lower_bound(first);
  if (untried != faults_.untriedSectors.end() && untried->first < end) {
    error = untried->second;
    return Fate::kUntried;
  }
  for (std::uint64_t sector = first; sector < end; ++sector) {
    error = SectorError(sector);
    if (error != 0) return Fate::kBad;
  }
  return Fate::kReadable;
}

std::chrono::nanoseconds FaultyBlockReader::Delay(const BlockRead& read) const {
  const std::uint64_t first = read.offsetBytes / geometry_.logicalSectorBytes;
  const std::uint64_t end = first + read.sizeBytes / geometry_.logicalSectorBytes;
  std::chrono::nanoseconds delay{};
  for (auto slow = faults_.slowSectors.lower_bound(first);
       slow != faults_.slowSectors.end() && slow->first < end; ++slow) {
    delay += slow->second;
  }
  return delay;
}

ReaderState FaultyBlockReader::Collect(std::vector<BlockReadResult>& results,
                                       std::chrono::milliseconds) {
  if (onCollect) onCollect();
  bool beside = false;  // the read before this one failed
  const std::size_t before = results.size();
  for (std::uint32_t slot = 0; slot < depth_ && !queue_.empty(); ++slot) {
    if (faults_.loseAfterReads >= 0 && answered_ >= faults_.loseAfterReads) return faults_.lostAs;
    const BlockRead read = queue_.front().read;
    const std::chrono::nanoseconds begun =
        std::max(queue_.front().submitted, ended_.size() < depth_ ? 0ns : ended_.front());
    queue_.pop_front();
    int error = 0;
    const Fate fate = Judge(read, error);
    if (fate == Fate::kHangs) {
      hanging_.push_back(read);
      continue;
    }
    if (fate == Fate::kUntried) {
      results.push_back({read.id, ReadOutcome::kNotTried, error});
      continue;
    }
    const bool isGone = faults_.vanishAfterReads >= 0 && answered_ >= faults_.vanishAfterReads;
    if (isGone) error = ENODEV;
    if (error == 0 && beside && faults_.failNeighbours) error = EIO;
    beside = fate == Fate::kBad;
    ++answered_;
    late_ += Delay(read);
    ended_.push_back(Time());
    if (ended_.size() > depth_) ended_.pop_front();
    results.push_back({read.id, error == 0 ? ReadOutcome::kRead : ReadOutcome::kFailed, error,
                       begun, ended_.back()});
  }
  return results.size() == before ? CollectHung(results) : ReaderState::kWorking;
}

ReaderState FaultyBlockReader::CollectHung(std::vector<BlockReadResult>& results) {
  if (hanging_.empty() || faults_.callsUntilTimeOut < 0) return ReaderState::kWorking;
  if (faults_.callsUntilTimeOut == 0) return ReaderState::kHung;
  if (++quietCalls_ < faults_.callsUntilTimeOut) return ReaderState::kWorking;
  for (const BlockRead& read : hanging_) {
    results.push_back({read.id, ReadOutcome::kTimedOut, ETIMEDOUT});
  }
  hanging_.clear();
  return ReaderState::kWorking;
}

}  // namespace orvan::machine
