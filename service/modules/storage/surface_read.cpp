#include "service/modules/storage/surface_read.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "service/machine/awake_clock.h"
#include "service/machine/read_errors.h"

namespace orvan::storage {
namespace {

using machine::BlockRead;
using machine::BlockReadResult;
using machine::ReaderState;
using machine::ReadOutcome;

constexpr std::chrono::milliseconds kStopPoll{100};
constexpr std::chrono::milliseconds kProgressPace{250};
// A disk that is pulled out may answer reads with errors for so long before it is gone.
constexpr std::chrono::milliseconds kLastMoment{5000};

class SurfaceReader {
 public:
  SurfaceReader(machine::BlockReader& reader, const SurfacePlan& plan, std::stop_token stop,
                const SurfaceHooks& hooks, std::uint64_t mostNarrowed)
      : reader_(reader),
        plan_(plan),
        stop_(std::move(stop)),
        hooks_(hooks),
        mostNarrowed_(mostNarrowed),
        sectorBytes_(reader.Geometry().logicalSectorBytes),
        clock_(hooks.now) {}

  SurfaceResult Run() {
    Tell(0);
    while (!ended_) {
      if (failed_.empty()) Feed();
      if (!inFlight_.empty()) {
        Collect();
      } else if (!failed_.empty()) {
        NarrowFailed();
      } else {
        break;
      }
      TellProgress();
    }
    if (result_.end == SurfaceEnd::kVanished) ForgetLastMoment();
    for (const Failure& failure : suspects_) Count(failure);
    // What the end left no time to look at closer.
    for (const Failure& failure : failed_) Count(failure);
    if (!ended_) result_.end = next_ < plan_.order.count ? SurfaceEnd::kTimeCap : result_.end;
    if (result_.end == SurfaceEnd::kComplete || result_.end == SurfaceEnd::kTimeCap) Tell(100);
    result_.took = Look();
    return std::move(result_);
  }

 private:
  using Duration = machine::AwakeClock::Duration;

  struct Extent {
    std::uint64_t lba = 0;
    std::uint32_t sectors = 0;
    Duration handedOver{};  // of whole blocks
  };

  // A read that failed.
  struct Failure {
    std::uint64_t id = 0;  // of the block, whose sectors are read later
    Extent extent;
    int error = 0;
    Duration when{};
    bool isSector = false;   // read by itself
    bool isVouched = false;  // the disk has answered a read since
  };

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
    const Duration now = Look();
    while (next_ < plan_.order.count && inFlight_.size() < reader_.Capacity()) {
      Extent extent = BlockExtent(plan_.order.at(next_++));
      extent.handedOver = now;
      reads.push_back(ReadOf(extent));
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
    for (const BlockReadResult& result : results) {
      const auto found = inFlight_.find(result.id);
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

  // What came together with the reader's end still counts, so the end is taken after it.
  void TakePendingEnd() {
    if (pendingEnd_) End(pendingEnd_->first, pendingEnd_->second);
  }

  // True when the result is one that ends the run, which the first of them does.
  bool EndsRun(const Extent& extent, const BlockReadResult& result) {
    if (result.outcome == ReadOutcome::kTimedOut) {
      End(SurfaceEnd::kHung, extent.lba);
    } else if (result.outcome == ReadOutcome::kFailed && machine::MeansGone(result.error)) {
      // Reads come back in any order; what is named is the oldest that was not read.
      const bool isOlder = !inFlight_.empty() && inFlight_.begin()->first < result.id;
      const std::uint64_t lba = isOlder ? inFlight_.begin()->second.lba : extent.lba;
      End(SurfaceEnd::kVanished, lba, result.error, isOlder ? inFlight_.begin()->first : result.id);
    } else if (result.outcome == ReadOutcome::kNotTried ||
               (result.outcome == ReadOutcome::kFailed && machine::IsOwnFault(result.error))) {
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
      result_.slowestAnswer = std::max(result_.slowestAnswer, now - extent.handedOver);
      // Those that came along with the end still count.
      if (EndsRun(extent, result)) continue;
      if (result.outcome == ReadOutcome::kRead) {
        ++result_.blocksRead;
        result_.bytesRead += static_cast<std::uint64_t>(extent.sectors) * sectorBytes_;
      } else {
        failed_.push_back({result.id, extent, result.error, now});
      }
    }
    TakePendingEnd();
  }

  void NarrowFailed() {
    // Blocks come back in any order; what is said first should be the lowest.
    std::sort(failed_.begin(), failed_.end(),
              [](const Failure& a, const Failure& b) { return a.extent.lba < b.extent.lba; });
    std::size_t done = 0;
    while (done < failed_.size() && !ended_) {
      const bool isNarrowed = MayNarrow() && Narrow(failed_[done]);
      if (ended_) break;  // this one is left with those behind it
      if (isNarrowed) {
        ++result_.blocksRead;
      } else {
        Suspect(failed_[done]);
      }
      ++done;
    }
    failed_.erase(failed_.begin(), failed_.begin() + static_cast<std::ptrdiff_t>(done));
  }

  bool MayNarrow() {
    return result_.bad.Total() + suspectSectors_ < mostNarrowed_ && !CapReached();
  }

  // A disk that answers is there: what failed before is of its surface.
  void VouchFor(const std::vector<std::pair<Extent, BlockReadResult>>& finished) {
    const bool answers = std::any_of(finished.begin(), finished.end(), [](const auto& one) {
      return one.second.outcome == ReadOutcome::kRead;
    });
    if (!answers) return;
    for (Failure& failure : failed_) failure.isVouched = true;
    for (const Failure& failure : suspects_) Count(failure);
    suspects_.clear();
    suspectSectors_ = 0;
  }

  // It counts once the disk has answered another read, or has not vanished for a while.
  void Suspect(const Failure& failure) {
    if (failure.isVouched) {
      Count(failure);
    } else {
      suspects_.push_back(failure);
      suspectSectors_ += failure.isSector ? 1 : 0;
    }
    while (!suspects_.empty() && suspects_.front().when < now_ - kLastMoment) {
      suspectSectors_ -= suspects_.front().isSector ? 1 : 0;
      Count(suspects_.front());
      suspects_.pop_front();
    }
  }

  // Reads that failed last, right before the disk was gone, failed because it went.
  void ForgetLastMoment() {
    const auto isPart = [this](const Failure& failure) {
      const bool isLast = !failure.isVouched && failure.when >= now_ - kLastMoment;
      if (isLast) ++result_.lastFailures;
      // What is named is the oldest read that went with it.
      if (isLast && failure.id < endId_) {
        endId_ = failure.id;
        result_.endLba = failure.extent.lba;
      }
      return isLast;
    };
    std::erase_if(suspects_, isPart);
    std::erase_if(failed_, isPart);
  }

  void Count(const Failure& failure) {
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
    ++result_.unnarrowedBlocks;
    ++result_.blocksRead;
  }

  // False when the run or its time ended before all sectors of the block were read.
  bool Narrow(const Failure& failure) {
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
          Suspect({failure.id, extent, result.error, now_, true});
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

  machine::BlockReader& reader_;
  const SurfacePlan& plan_;
  std::stop_token stop_;
  const SurfaceHooks& hooks_;
  std::uint64_t mostNarrowed_;
  std::uint32_t sectorBytes_;
  machine::AwakeClock clock_;
  Duration now_{};  // at the last look
  Duration lastTold_{};
  int told_ = 0;
  std::uint64_t next_ = 0;  // place in the order of the next block to begin
  std::uint64_t nextId_ = 0;
  std::map<std::uint64_t, Extent> inFlight_;  // by id, so the oldest comes first
  std::vector<Failure> failed_;               // blocks to be read again
  std::deque<Failure> suspects_;              // not counted yet, the oldest first
  std::uint64_t suspectSectors_ = 0;          // of those
  std::uint64_t endId_ = 0;                   // of the read that ended the run
  std::optional<std::pair<SurfaceEnd, std::uint64_t>> pendingEnd_;
  bool ended_ = false;
  SurfaceResult result_;
};

}  // namespace

SurfaceResult ReadSurface(machine::BlockReader& reader, const SurfacePlan& plan,
                          std::stop_token stop, const SurfaceHooks& hooks,
                          std::uint64_t mostNarrowedSectors) {
  return SurfaceReader(reader, plan, std::move(stop), hooks, mostNarrowedSectors).Run();
}

std::uint64_t CountBlocks(std::uint64_t firstLba, std::uint64_t lastLba,
                          std::uint32_t sectorsPerBlock) {
  return (lastLba - firstLba) / sectorsPerBlock + 1;
}

}  // namespace orvan::storage
