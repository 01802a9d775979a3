#include "service/modules/storage/surface_read.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "service/modules/storage/answer_times.h"
#include "service/modules/storage/failed_reads.h"
#include "service/sdk/awake_clock.h"
#include "service/sdk/read_errors.h"

namespace orvan::storage {
namespace {

using sdk::BlockRead;
using sdk::BlockReadResult;
using sdk::ReaderState;
using sdk::ReadOutcome;

constexpr std::chrono::milliseconds kStopPoll{100};
constexpr std::chrono::milliseconds kProgressPace{250};

class SurfaceReader {
 public:
  SurfaceReader(sdk::BlockReader& reader, const SurfacePlan& plan, std::stop_token stop,
                const SurfaceHooks& hooks, std::uint64_t mostNarrowed)
      : reader_(reader),
        plan_(plan),
        stop_(std::move(stop)),
        hooks_(hooks),
        mostNarrowed_(mostNarrowed),
        sectorBytes_(reader.Geometry().logicalSectorBytes),
        clock_(hooks.now),
        failed_([this](const FailedRead& failure) { Count(failure); }) {}

  SurfaceResult Run() {
    Tell(0);
    while (!ended_) {
      if (failed_.blocks.empty()) Feed();
      if (!inFlight_.empty()) {
        Collect();
      } else if (!failed_.blocks.empty()) {
        NarrowFailed();
      } else {
        break;
      }
      TellProgress();
    }
    if (result_.end == SurfaceEnd::kVanished) ForgetLastMoment();
    failed_.CountAll();
    if (!ended_) result_.end = next_ < plan_.order.count ? SurfaceEnd::kTimeCap : result_.end;
    if (result_.end == SurfaceEnd::kComplete || result_.end == SurfaceEnd::kTimeCap) Tell(100);
    result_.took = Look();
    return std::move(result_);
  }

 private:
  using Duration = sdk::AwakeClock::Duration;

  Duration Look() { return now_ = clock_.Look(); }

  void End(SurfaceEnd end, std::uint64_t lba = 0, int error = 0, std::uint64_t id = 0) {
    if (ended_) return;
    ended_ = true;
    endId_ = id;
    result_.end = end;
    result_.endLba = lba;
    result_.endError = error;
  }

  bool CapReached() { return plan_.timeCap.count() > 0 && next_ > 0 && Look() >= plan_.timeCap; }

  Extent BlockExtent(std::uint64_t block) const {
    const std::uint64_t lba = plan_.firstLba + block * plan_.sectorsPerBlock;
    const std::uint64_t left = plan_.lastLba - lba + 1;
    return {lba, static_cast<std::uint32_t>(std::min<std::uint64_t>(left, plan_.sectorsPerBlock))};
  }

  BlockRead ReadOf(const Extent& extent) {
    inFlight_[nextId_] = extent;
    return {nextId_++, extent.lba * sectorBytes_, extent.sectors * sectorBytes_, 0};
  }

  void Feed() {
    // Handing over in lots of half the queue keeps the disk busy and the messages few.
    if (inFlight_.size() > reader_.Capacity() / 2 || CapReached()) return;
    std::vector<BlockRead> reads;
    while (next_ < plan_.order.count && inFlight_.size() < reader_.Capacity()) {
      reads.push_back(ReadOf(BlockExtent(plan_.order.at(next_++))));
    }
    if (!reads.empty()) reader_.Submit(reads);
  }

  // Waits for results of what is in flight, up to the stop token's pace.
  std::vector<std::pair<Extent, BlockReadResult>> Wait() {
    std::vector<std::pair<Extent, BlockReadResult>> finished;
    if (stop_.stop_requested()) {
      End(SurfaceEnd::kStopped);
      return finished;
    }
    std::vector<BlockReadResult> results;
    const ReaderState state = reader_.Collect(results, kStopPoll);
    // Of those that ended at once, as far as anybody saw, the first given was the one waited for.
    std::sort(results.begin(), results.end(), [](const auto& one, const auto& other) {
      return std::tie(one.ended, one.id) < std::tie(other.ended, other.id);
    });
    for (const BlockReadResult& result : results) {
      const auto found = inFlight_.find(result.id);
      JudgeTime(found->second, result);
      finished.emplace_back(found->second, result);
      inFlight_.erase(found);
    }
    std::sort(finished.begin(), finished.end(),
              [](const auto& one, const auto& other) { return one.second.id < other.second.id; });
    const std::uint64_t oldest = inFlight_.empty() ? 0 : inFlight_.begin()->second.lba;
    if (state == ReaderState::kHung) pendingEnd_ = {SurfaceEnd::kHung, oldest};
    if (state == ReaderState::kStalled) pendingEnd_ = {SurfaceEnd::kReaderStalled, oldest};
    if (state == ReaderState::kLost) pendingEnd_ = {SurfaceEnd::kReaderLost, oldest};
    return finished;
  }

  // A read that never came back is judged as one that hangs.
  void JudgeTime(const Extent& extent, const BlockReadResult& result) {
    if (result.outcome == ReadOutcome::kNotTried || result.outcome == ReadOutcome::kTimedOut)
      return;
    const auto own =
        ownTimes_.OnAnswer(result.id, result.begun, result.ended, inFlight_.begin()->first);
    if (plan_.slowAfter.count() == 0 || own <= plan_.slowAfter) return;
    SlowAnswers& slow = result_.slow;
    ++slow.count;
    slow.sectors.Add(extent.lba, extent.sectors);
    slow.places.Add(extent.lba, extent.lba + extent.sectors,
                    std::chrono::duration<double>(own).count());
    if (own <= slow.slowest) return;
    slow.slowest = own;
    slow.slowestLba = extent.lba;
  }

  // What came together with the reader's end still counts, so the end is taken after it.
  void TakePendingEnd() {
    if (pendingEnd_) End(pendingEnd_->first, pendingEnd_->second);
  }

  // True when the result is one that ends the run, which the first of them does.
  bool EndsRun(const Extent& extent, const BlockReadResult& result) {
    if (result.outcome == ReadOutcome::kTimedOut) {
      End(SurfaceEnd::kHung, extent.lba);
    } else if (result.outcome == ReadOutcome::kFailed && sdk::MeansGone(result.error)) {
      // Reads come back in any order; what is named is the oldest that was not read.
      const bool isOlder = !inFlight_.empty() && inFlight_.begin()->first < result.id;
      const std::uint64_t lba = isOlder ? inFlight_.begin()->second.lba : extent.lba;
      End(SurfaceEnd::kVanished, lba, result.error, isOlder ? inFlight_.begin()->first : result.id);
    } else if (result.outcome == ReadOutcome::kNotTried ||
               (result.outcome == ReadOutcome::kFailed && sdk::IsOwnFault(result.error))) {
      End(SurfaceEnd::kOwnFault, extent.lba, result.error);
    } else {
      return false;
    }
    return true;
  }

  void Collect() {
    const auto finished = Wait();
    const Duration now = Look();
    VouchFor(finished);
    for (const auto& [extent, result] : finished) {
      const auto took = result.ended - result.begun;
      result_.slowestAnswer = std::max(result_.slowestAnswer, took);
      if (hooks_.answer) {
        const std::uint64_t bytes = static_cast<std::uint64_t>(extent.sectors) * sectorBytes_;
        hooks_.answer(
            {extent.lba, extent.sectors, result.outcome, result.error, bytes, took, result.ended});
      }
      // Those that came along with the end still count.
      if (EndsRun(extent, result)) continue;
      if (result.outcome == ReadOutcome::kRead) {
        ++result_.blocksRead;
        result_.bytesRead += static_cast<std::uint64_t>(extent.sectors) * sectorBytes_;
      } else {
        failed_.blocks.push_back({result.id, extent, result.error, now});
      }
    }
    TakePendingEnd();
  }

  void NarrowFailed() {
    std::vector<FailedRead>& blocks = failed_.blocks;
    // Blocks come back in any order; what is said first should be the lowest.
    std::sort(blocks.begin(), blocks.end(),
              [](const FailedRead& a, const FailedRead& b) { return a.extent.lba < b.extent.lba; });
    std::size_t done = 0;
    while (done < blocks.size() && !ended_) {
      const bool isNarrowed = MayNarrow() && Narrow(blocks[done]);
      if (ended_) break;  // this one is left with those behind it
      if (isNarrowed) {
        ++result_.blocksRead;
      } else {
        failed_.Suspect(blocks[done], now_);
      }
      ++done;
    }
    blocks.erase(blocks.begin(), blocks.begin() + static_cast<std::ptrdiff_t>(done));
  }

  bool MayNarrow() {
    return result_.bad.Total() + failed_.SuspectSectors() < mostNarrowed_ && !CapReached();
  }

  void VouchFor(const std::vector<std::pair<Extent, BlockReadResult>>& finished) {
    const bool answers = std::any_of(finished.begin(), finished.end(), [](const auto& one) {
      return one.second.outcome == ReadOutcome::kRead;
    });
    if (answers) failed_.Vouch();
  }

  // What is named is the oldest read that went with the disk.
  void ForgetLastMoment() {
    const FailedReads::LastMoment last = failed_.ForgetLastMoment(now_);
    result_.lastFailures = last.reads;
    if (last.oldest && last.oldest->id < endId_) result_.endLba = last.oldest->extent.lba;
  }

  void Count(const FailedRead& failure) {
    if (failure.isSector) {
      AddBad(failure.extent.lba, failure.error);
    } else {
      CountUnnarrowed(failure.extent, failure.error);
    }
  }

  void CountUnnarrowed(const Extent& block, int error) {
    if (result_.unnarrowedBlocks == 0 || block.lba < result_.firstUnnarrowedLba) {
      result_.firstUnnarrowedLba = block.lba;
      result_.firstUnnarrowedError = error;
    }
    result_.unnarrowedPlaces.AddSectors(block.lba, block.sectors);
    ++result_.unnarrowedBlocks;
    ++result_.blocksRead;
  }

  // False when the run or its time ended before all sectors of the block were read.
  bool Narrow(const FailedRead& failure) {
    const Extent block = failure.extent;
    bool allRead = true;
    for (std::uint32_t i = 0; i < block.sectors; ++i) {
      if (i > 0 && CapReached()) return false;
      const std::uint64_t lba = block.lba + i;
      reader_.Submit({ReadOf({lba, 1})});
      while (!inFlight_.empty()) {
        const auto finished = Wait();
        VouchFor(finished);
        for (const auto& [extent, result] : finished) {
          if (EndsRun(extent, result)) return false;
          if (result.outcome == ReadOutcome::kRead) continue;
          allRead = false;
          failed_.Suspect({failure.id, extent, result.error, now_, true}, now_);
        }
        TakePendingEnd();
        if (ended_) return false;
      }
      TellProgress();
    }
    if (allRead) {
      result_.bytesRead += static_cast<std::uint64_t>(block.sectors) * sectorBytes_;
      ++result_.secondTryBlocks;
    }
    return true;
  }

  void AddBad(std::uint64_t lba, int error) {
    if (result_.bad.IsEmpty() && hooks_.firstBadSector) hooks_.firstBadSector(lba);
    result_.bad.Add(lba, error);
  }

  void Tell(int percent) {
    if (hooks_.progress) hooks_.progress(percent);
    told_ = percent;
    lastTold_ = Look();
  }

  // Of blocks or of the time cap, whichever is further; 100 is left to the end.
  void TellProgress() {
    const Duration now = Look();
    if (ended_ || now - lastTold_ < kProgressPace) return;
    const double blocks = static_cast<double>(result_.blocksRead) /
                          static_cast<double>(std::max<std::uint64_t>(plan_.order.count, 1));
    const double time =
        plan_.timeCap.count() > 0 ? std::chrono::duration<double>(now) / plan_.timeCap : 0.0;
    const double share = std::clamp(std::max(blocks, time), 0.0, 0.99);
    Tell(std::max(told_, static_cast<int>(share * 100)));
  }

  sdk::BlockReader& reader_;
  const SurfacePlan& plan_;
  std::stop_token stop_;
  const SurfaceHooks& hooks_;
  std::uint64_t mostNarrowed_;
  std::uint32_t sectorBytes_;
  sdk::AwakeClock clock_;
  Duration now_{};  // at the last look
  Duration lastTold_{};
  int told_ = 0;
  std::uint64_t next_ = 0;  // place in the order of the next block to begin
  std::uint64_t nextId_ = 0;
  std::map<std::uint64_t, Extent> inFlight_;  // by id, so the oldest comes first
  OwnTimes ownTimes_;
  FailedReads failed_;
  std::uint64_t endId_ = 0;  // of the read that ended the run
  std::optional<std::pair<SurfaceEnd, std::uint64_t>> pendingEnd_;
  bool ended_ = false;
  SurfaceResult result_;
};

}  // namespace

SurfaceResult ReadSurface(sdk::BlockReader& reader, const SurfacePlan& plan, std::stop_token stop,
                          const SurfaceHooks& hooks, std::uint64_t mostNarrowedSectors) {
  return SurfaceReader(reader, plan, std::move(stop), hooks, mostNarrowedSectors).Run();
}

std::uint64_t CountBlocks(std::uint64_t firstLba, std::uint64_t lastLba,
                          std::uint32_t sectorsPerBlock) {
  return (lastLba - firstLba) / sectorsPerBlock + 1;
}

}  // namespace orvan::storage
