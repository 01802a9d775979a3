#include <algorithm>
#include <cerrno>
#include <list>
#include <utility>

#include "service/recording/accesses.h"
#include "service/recording/replay_parts.h"
#include "service/recording/written_sectors.h"
#include "service/sdk/read_errors.h"

namespace orvan::recording {
namespace {

using sdk::TransferResult;

class Reader final : public sdk::BlockReader {
 public:
  Reader(const ReaderAnswer& opened, std::string device, std::shared_ptr<ReplaySource> source)
      : geometry_(opened.geometry),
        capacity_(opened.capacity),
        access_(FieldWriter(kind::kCollect).Text(opened.name)),
        timesAccess_(FieldWriter(kind::kReadTimes).Text(opened.name)),
        device_(std::move(device)),
        source_(std::move(source)) {}

  const sdk::BlockGeometry& Geometry() const override { return geometry_; }
  std::uint32_t Capacity() const override { return capacity_; }
  void Submit(const std::vector<sdk::BlockRead>& reads) override {
    pending_.insert(pending_.end(), reads.begin(), reads.end());
  }

  // What ended at this call of the recorded run ends here, too.
  sdk::ReaderState Collect(std::vector<sdk::BlockReadResult>& results,
                           std::chrono::milliseconds wait) override {
    if (state_ != sdk::ReaderState::kWorking) return state_;
    const auto answer = source_->NextNew<CollectAnswer>(access_);
    if (!answer) {
      AnswerTheRest(results, wait);
      return state_;
    }
    ReadTimesAnswer times;
    if (!answer->reads.empty()) {
      times = source_->NextNew<ReadTimesAnswer>(timesAccess_).value_or(ReadTimesAnswer{});
    }
    std::size_t place = 0;
    for (const CollectedReads& lot : answer->reads) {
      for (std::uint32_t i = 0; i < lot.count; ++i, ++place) {
        const auto time =
            place < times.reads.size() ? times.reads[place] : ReadTimesAnswer::Times{};
        Take(results, lot, lot.offsetBytes + std::uint64_t{i} * lot.sizeBytes, time);
      }
    }
    return state_ = answer->state;
  }

 private:
  void Take(std::vector<sdk::BlockReadResult>& results, const CollectedReads& lot,
            std::uint64_t offset, const ReadTimesAnswer::Times& times) {
    const auto read = std::find_if(pending_.begin(), pending_.end(), [&](const auto& one) {
      return one.offsetBytes == offset && one.sizeBytes == lot.sizeBytes;
    });
    if (read == pending_.end()) return;  // the recorded run asked for more
    results.push_back({read->id, lot.outcome, lot.error, times.ended - times.took, times.ended});
    pending_.erase(read);
  }

  // Reads that the recorded run did not make here.
  void AnswerTheRest(std::vector<sdk::BlockReadResult>& results, std::chrono::milliseconds wait) {
    if (pending_.empty()) source_->PassTime(wait);
    for (const sdk::BlockRead& read : pending_) {
      source_->PassTime(std::chrono::milliseconds(1));
      const auto known = source_->LastRead(device_, read.offsetBytes, read.sizeBytes);
      if (known) {
        results.push_back({read.id, known->outcome, known->error});
      } else {
        results.push_back({read.id, sdk::ReadOutcome::kNotTried, sdk::kNotRecorded});
      }
    }
    pending_.clear();
  }

  const sdk::BlockGeometry geometry_;
  const std::uint32_t capacity_;
  const FieldWriter access_;
  const FieldWriter timesAccess_;
  const std::string device_;
  const std::shared_ptr<ReplaySource> source_;
  sdk::ReaderState state_ = sdk::ReaderState::kWorking;
  std::list<sdk::BlockRead> pending_;  // in the order of submission
};

class Writer final : public sdk::BlockWriter {
 public:
  Writer(const WriterAnswer& opened, WriteGrant grant, std::shared_ptr<ReplaySource> source)
      : geometry_(opened.geometry),
        name_(opened.name),
        grant_(std::move(grant)),
        source_(std::move(source)),
        written_(geometry_.logicalSectorBytes, [](std::span<const std::byte> data) {
          return std::vector<std::byte>(data.begin(), data.end());
        }) {}

  const sdk::BlockGeometry& Geometry() const override { return geometry_; }

  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    const TransferAnswer answer =
        Next(FieldWriter(kind::kWrite).Text(name_).Number(offset).Number(data.size()));
    if (answer.result.IsDone()) {
      written_.Write(offset, data);
    } else {
      written_.Forget(offset, data.size());
    }
    return answer.result;
  }

  TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    const TransferAnswer answer =
        Next(FieldWriter(kind::kRead).Text(name_).Number(offset).Number(data.size()));
    if (!answer.result.IsDone()) return answer.result;
    const bool isOwn =
        answer.isAsWritten &&
        written_.Each(offset, data.size(),
                      [&data](const std::vector<std::byte>& sector, std::size_t at) {
                        std::copy(sector.begin(), sector.end(), data.subspan(at).begin());
                        return true;
                      });
    // Something else than what was written must not be made of what was only forgotten.
    if (!isOwn && !answer.hash.empty() && written_.HasForgotten()) {
      return {TransferResult::Outcome::kNotTried, sdk::kNotRecorded};
    }
    if (!isOwn) FillFrom(answer.hash, data);
    return answer.result;
  }

  TransferResult Flush() override { return Next(FieldWriter(kind::kFlush).Text(name_)).result; }

 private:
  // No transfer is answered twice: what was not done again has no outcome.
  TransferAnswer Next(const FieldWriter& access) {
    if (!*grant_) return {{TransferResult::Outcome::kNotTried, EPERM}, {}};
    return source_->NextNew<TransferAnswer>(access).value_or(
        TransferAnswer{{TransferResult::Outcome::kNotTried, sdk::kNotRecorded}, {}});
  }

  const sdk::BlockGeometry geometry_;
  const std::string name_;
  const WriteGrant grant_;
  const std::shared_ptr<ReplaySource> source_;
  WrittenSectors<std::vector<std::byte>> written_;
};

class Look final : public sdk::FilesystemProbe {
 public:
  explicit Look(std::shared_ptr<ReplaySource> source) : source_(std::move(source)) {}
  std::optional<sdk::FilesystemFacts> Probe(const std::string& device,
                                            const std::string& mountPoint,
                                            std::chrono::milliseconds,
                                            std::stop_token stop) override {
    if (stop.stop_requested()) return {};
    return source_
        ->Next<std::optional<sdk::FilesystemFacts>>(
            FieldWriter(kind::kProbe).Text(device).Text(mountPoint))
        .value_or(std::nullopt);
  }

 private:
  const std::shared_ptr<ReplaySource> source_;
};

}  // namespace

void FillFrom(const std::string& hash, std::span<std::byte> bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = hash.empty() ? std::byte{0} : static_cast<std::byte>(hash[i % hash.size()]);
  }
}

std::unique_ptr<sdk::BlockReader> ReplayReader(const ReaderAnswer& opened, std::string device,
                                               std::shared_ptr<ReplaySource> source) {
  return std::make_unique<Reader>(opened, std::move(device), std::move(source));
}

std::unique_ptr<sdk::BlockWriter> ReplayWriter(const WriterAnswer& opened, WriteGrant grant,
                                               std::shared_ptr<ReplaySource> source) {
  return std::make_unique<Writer>(opened, std::move(grant), std::move(source));
}

std::unique_ptr<sdk::FilesystemProbe> ReplayProbe(std::shared_ptr<ReplaySource> source) {
  return std::make_unique<Look>(std::move(source));
}

}  // namespace orvan::recording
