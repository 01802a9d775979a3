#include "service/modules/storage/surface_write.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "service/modules/storage/failed_reads.h"
#include "service/sdk/read_errors.h"

namespace orvan::storage {
namespace {

using sdk::TransferResult;
using Outcome = TransferResult::Outcome;
using Duration = WriteResult::Duration;

constexpr std::chrono::milliseconds kProgressPace{250};

class SurfaceWriter {
 public:
  SurfaceWriter(sdk::BlockWriter& writer, const WritePlan& plan, std::stop_token stop,
                const WriteHooks& hooks, std::uint64_t mostFailed)
      : writer_(writer),
        plan_(plan),
        stop_(std::move(stop)),
        hooks_(hooks),
        mostFailed_(mostFailed),
        sectorBytes_(writer.Geometry().logicalSectorBytes),
        endLba_(plan.lastLba + 1),
        begun_(hooks.now()),
        failed_([this](const FailedRead& failure) { CountFailed(failure); }),
        right_(std::size_t{plan.sectorsPerBlock} * sectorBytes_),
        found_(right_.size()) {}

  WriteResult Run() {
    result_.sectorsPlanned = endLba_ - plan_.firstLba;
    Tell(0);
    for (pass_ = 0; pass_ < plan_.passes && !HasFault() && DoPass(); ++pass_) ++result_.passesDone;
    if (result_.end == WriteEnd::kVanished) {
      result_.lastFailures = failed_.ForgetLastMoment(Elapsed()).reads;
    }
    failed_.CountAll();
    if (!ended_ && isCut_) result_.end = WriteEnd::kTimeCap;
    if (result_.end == WriteEnd::kComplete || result_.end == WriteEnd::kTimeCap) Tell(100);
    return std::move(result_);
  }

 private:
  Duration Elapsed() const { return hooks_.now() - begun_; }

  // False when the run ended in it.
  bool DoPass() {
    Walk(WriteStep::kWriting, [this](const Extent& block) { WriteBlock(block); });
    if (!ended_) Flush();
    Walk(WriteStep::kReading, [this](const Extent& block) { ReadBlock(block); });
    return !ended_;
  }

  template <typename Do>
  void Walk(WriteStep step, Do once) {
    step_ = step;
    walked_ = 0;
    for (std::uint64_t lba = plan_.firstLba; lba < endLba_ && !ended_;) {
      if (stop_.stop_requested()) return End(WriteEnd::kStopped, lba);
      if (IsTimeUp(lba)) return;
      const auto sectors =
          static_cast<std::uint32_t>(std::min<std::uint64_t>(plan_.sectorsPerBlock, endLba_ - lba));
      once(Extent{lba, sectors});
      if (ended_) return;
      lba += sectors;
      walked_ = lba - plan_.firstLba;
      if (step == WriteStep::kReading) {
        result_.sectorsCompared = std::max(result_.sectorsCompared, walked_);
      }
      TellProgress();
    }
  }

  // Nothing is cut before one block was written.
  bool IsTimeUp(std::uint64_t lba) {
    if (plan_.timeCap.count() == 0 || result_.sectorsTouched == 0) return false;
    const Duration now = Elapsed();
    const bool isFirst = pass_ == 0 && step_ == WriteStep::kWriting;
    if (isFirst && now >= Duration(plan_.timeCap) / (2 * plan_.passes)) {
      endLba_ = lba;
      return isCut_ = true;
    }
    if (now < plan_.timeCap) return false;
    End(WriteEnd::kTimeCap, lba);
    return true;
  }

  bool HasFault() const {
    return !result_.unwritable.IsEmpty() || !result_.unreadable.IsEmpty() ||
           !result_.wrong.IsEmpty() || failed_.SuspectSectors() > 0;
  }

  void WriteBlock(const Extent& block) {
    FillSectors({plan_.run, pass_, block.lba}, sectorBytes_, RightOf(block));
    Touch(block);
    if (Transfer(block) || ended_) return;
    ForEachSector(block, [this](const Extent& sector) {
      FillSectors({plan_.run, pass_, sector.lba}, sectorBytes_, RightOf(sector));
      if (!Transfer(sector)) Suspect(sector);
    });
  }

  void ReadBlock(const Extent& block) {
    if (Transfer(block)) return Compare(block);
    if (ended_) return;
    ForEachSector(block, [this](const Extent& sector) {
      if (Transfer(sector)) return Compare(sector);
      // What could not be written is known already.
      if (!IsUnwritable(sector.lba)) Suspect(sector);
    });
  }

  template <typename Do>
  void ForEachSector(const Extent& block, Do once) {
    for (std::uint32_t i = 0; i < block.sectors && !ended_; ++i) {
      if (stop_.stop_requested()) return End(WriteEnd::kStopped, block.lba + i);
      once(Extent{block.lba + i, 1});
      TellProgress();
    }
  }

  std::span<std::byte> RightOf(const Extent& extent) {
    return std::span(right_).first(std::size_t{extent.sectors} * sectorBytes_);
  }
  std::span<std::byte> FoundOf(const Extent& extent) {
    return std::span(found_).first(std::size_t{extent.sectors} * sectorBytes_);
  }

  // Writes or reads. False when the disk failed it, or the run has ended.
  bool Transfer(const Extent& extent) {
    const bool isWrite = step_ == WriteStep::kWriting;
    const std::uint64_t offset = extent.lba * sectorBytes_;
    const Duration begun = Elapsed();
    const TransferResult result =
        isWrite ? writer_.Write(offset, RightOf(extent)) : writer_.Read(offset, FoundOf(extent));
    const Duration took = Elapsed() - begun;
    (isWrite ? result_.writing : result_.reading) += took;
    Duration& slowest = isWrite ? result_.slowestWrite : result_.slowestRead;
    slowest = std::max(slowest, took);
    if (!Take(result, extent.lba)) return false;
    (isWrite ? result_.bytesWritten : result_.bytesCompared) += RightOf(extent).size();
    return true;
  }

  void Flush() {
    step_ = WriteStep::kFlushing;
    const Duration begun = Elapsed();
    const TransferResult result = writer_.Flush();
    result_.writing += Elapsed() - begun;
    if (!Take(result, plan_.firstLba) && !ended_) {
      End(WriteEnd::kFlushFailed, plan_.firstLba, error_);
    }
  }

  // What a transfer came to. False when it failed.
  bool Take(const TransferResult& result, std::uint64_t lba) {
    error_ = result.error;
    switch (result.outcome) {
      case Outcome::kDone:
        // The disk answers: what failed before is of its surface.
        failed_.Vouch();
        if (IsTooBad()) End(WriteEnd::kTooBad, lba);
        return true;
      case Outcome::kTimedOut:
        End(WriteEnd::kHung, lba, result.error);
        break;
      case Outcome::kStopped:
        End(WriteEnd::kStopped, lba);
        break;
      case Outcome::kNotTried:
        End(WriteEnd::kOwnFault, lba, result.error);
        break;
      case Outcome::kFailed:
        if (sdk::MeansGone(result.error)) End(WriteEnd::kVanished, lba, result.error);
        break;
    }
    return false;
  }

  void Suspect(const Extent& sector) {
    if (ended_) return;
    failedStep_ = step_;
    const Duration now = Elapsed();
    failed_.Suspect({sector.lba, sector, error_, now, true}, now);
    if (IsTooBad()) End(WriteEnd::kTooBad, sector.lba);
  }

  bool IsTooBad() const {
    return result_.unwritable.Total() + result_.unreadable.Total() + failed_.SuspectSectors() >=
           mostFailed_;
  }

  // Failures are of the step in which they came up, however late they count; a flush that was done
  // lies between the two.
  void CountFailed(const FailedRead& failure) {
    (failedStep_ == WriteStep::kReading ? result_.unreadable : result_.unwritable)
        .Add(failure.extent.lba, failure.error);
  }

  bool IsUnwritable(std::uint64_t lba) const {
    const auto& ranges = result_.unwritable.Ranges();
    const auto after = ranges.upper_bound(lba);
    if (after == ranges.begin()) return false;
    const auto range = std::prev(after);
    return lba - range->first < range->second;
  }

  void Compare(const Extent& block) {
    FillSectors({plan_.run, pass_, block.lba}, sectorBytes_, RightOf(block));
    const std::span<const std::byte> found = FoundOf(block);
    if (std::equal(found.begin(), found.end(), right_.begin())) return;
    for (std::uint32_t i = 0; i < block.sectors; ++i) {
      const std::uint64_t lba = block.lba + i;
      const std::size_t at = std::size_t{i} * sectorBytes_;
      const SectorFinding finding =
          JudgeSector({plan_.run, pass_, lba}, std::span(right_).subspan(at, sectorBytes_),
                      std::span(found_).subspan(at, sectorBytes_));
      if (finding.kind != SectorKind::kRight && !IsUnwritable(lba)) AddWrong(lba, finding);
    }
  }

  void AddWrong(std::uint64_t lba, const SectorFinding& finding) {
    if (result_.wrong.IsEmpty()) result_.firstWrong = finding;
    result_.wrong.Add(lba, 0);
    ++result_.wrongKinds[finding.kind];
    // Of addresses that share a place each has what was last written to one of them.
    const bool isLater = finding.kind == SectorKind::kOtherAddress && finding.name.lba > lba &&
                         finding.name.pass == pass_;
    isRepeating_ = isRepeating_ && isLater;
    result_.repeatsAfter =
        isRepeating_ ? std::gcd(result_.repeatsAfter, finding.name.lba - lba) : 0;
  }

  void Touch(const Extent& block) {
    result_.sectorsTouched =
        std::max(result_.sectorsTouched, block.lba + block.sectors - plan_.firstLba);
  }

  void End(WriteEnd end, std::uint64_t lba, int error = 0) {
    if (ended_) return;
    ended_ = true;
    result_.end = end;
    result_.endStep = step_;
    result_.endLba = lba;
    result_.endError = error;
  }

  void Tell(int percent) {
    if (hooks_.progress) hooks_.progress(percent);
    told_ = percent;
    lastTold_ = Elapsed();
  }

  // Of what is to be written and read in all passes, or of the time cap, whichever is further; 100
  // is left to the end.
  void TellProgress() {
    const Duration now = Elapsed();
    if (ended_ || now - lastTold_ < kProgressPace) return;
    const double steps =
        2.0 * pass_ + (step_ == WriteStep::kReading ? 1 : 0) +
        static_cast<double>(walked_) / static_cast<double>(endLba_ - plan_.firstLba);
    const double time =
        plan_.timeCap.count() > 0 ? std::chrono::duration<double>(now) / plan_.timeCap : 0.0;
    const double share = std::clamp(std::max(steps / (2.0 * plan_.passes), time), 0.0, 0.99);
    Tell(std::max(told_, static_cast<int>(share * 100)));
  }

  sdk::BlockWriter& writer_;
  const WritePlan& plan_;
  std::stop_token stop_;
  const WriteHooks& hooks_;
  std::uint64_t mostFailed_;
  std::uint32_t sectorBytes_;
  std::uint64_t endLba_;  // behind the last sector that takes part
  const std::chrono::steady_clock::time_point begun_;
  FailedReads failed_;
  std::vector<std::byte> right_;
  std::vector<std::byte> found_;
  std::uint32_t pass_ = 0;
  WriteStep step_ = WriteStep::kWriting;
  WriteStep failedStep_ = WriteStep::kWriting;
  std::uint64_t walked_ = 0;  // sectors of this step
  int error_ = 0;             // of the last transfer
  bool isRepeating_ = true;
  bool isCut_ = false;
  bool ended_ = false;
  int told_ = 0;
  Duration lastTold_{};
  WriteResult result_;
};

}  // namespace

WriteResult WriteSurface(sdk::BlockWriter& writer, const WritePlan& plan, std::stop_token stop,
                         const WriteHooks& hooks, std::uint64_t mostFailedSectors) {
  return SurfaceWriter(writer, plan, std::move(stop), hooks, mostFailedSectors).Run();
}

}  // namespace orvan::storage
