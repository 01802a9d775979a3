#include <algorithm>
#include <map>
#include <utility>

#include "service/recording/accesses.h"
#include "service/recording/recording_parts.h"
#include "service/recording/written_sectors.h"

namespace orvan::recording {
namespace {

using sdk::TransferResult;

class Reader final : public sdk::BlockReader {
 public:
  Reader(std::unique_ptr<sdk::BlockReader> inner, std::string name,
         std::shared_ptr<Recorder> recorder)
      : inner_(std::move(inner)),
        access_(FieldWriter(kind::kCollect).Text(name)),
        timesAccess_(FieldWriter(kind::kReadTimes).Text(name)),
        recorder_(std::move(recorder)) {}

  const sdk::BlockGeometry& Geometry() const override { return inner_->Geometry(); }
  std::uint32_t Capacity() const override { return inner_->Capacity(); }

  void Submit(const std::vector<sdk::BlockRead>& reads) override {
    for (const sdk::BlockRead& read : reads) outstanding_[read.id] = read;
    inner_->Submit(reads);
  }

  sdk::ReaderState Collect(std::vector<sdk::BlockReadResult>& results,
                           std::chrono::milliseconds wait) override {
    const std::size_t before = results.size();
    CollectAnswer answer;
    answer.state = inner_->Collect(results, wait);
    ReadTimesAnswer times;
    for (std::size_t i = before; i < results.size(); ++i) {
      Append(answer.reads, results[i]);
      times.reads.push_back(RoundedTimes(results[i]));
    }
    recorder_->tape.Add(access_, answer);
    if (!times.reads.empty()) recorder_->tape.Add(timesAccess_, times);
    return answer.state;
  }

 private:
  // The recorded run sees what its replay will.
  static ReadTimesAnswer::Times RoundedTimes(sdk::BlockReadResult& result) {
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    ReadTimesAnswer::Times times;
    times.took = duration_cast<microseconds>(result.ended - result.begun);
    times.ended = duration_cast<microseconds>(result.ended);
    result.ended = times.ended;
    result.begun = times.ended - times.took;
    return times;
  }
  void Append(std::vector<CollectedReads>& lots, const sdk::BlockReadResult& result) {
    const auto read = outstanding_.extract(result.id);
    if (read.empty()) return;
    const std::uint64_t offset = read.mapped().offsetBytes;
    const std::uint32_t size = read.mapped().sizeBytes;
    if (!lots.empty()) {
      CollectedReads& last = lots.back();
      const bool isNext = offset == last.offsetBytes + std::uint64_t{last.count} * last.sizeBytes;
      if (isNext && size == last.sizeBytes && result.outcome == last.outcome &&
          result.error == last.error) {
        ++last.count;
        return;
      }
    }
    lots.push_back({offset, size, 1, result.outcome, result.error});
  }

  const std::unique_ptr<sdk::BlockReader> inner_;
  const FieldWriter access_;
  const FieldWriter timesAccess_;
  const std::shared_ptr<Recorder> recorder_;
  std::map<std::uint64_t, sdk::BlockRead> outstanding_;
};

class Writer final : public sdk::BlockWriter {
 public:
  Writer(std::unique_ptr<sdk::BlockWriter> inner, std::string name,
         std::shared_ptr<Recorder> recorder)
      : inner_(std::move(inner)),
        name_(std::move(name)),
        recorder_(std::move(recorder)),
        written_(inner_->Geometry().logicalSectorBytes,
                 [this](std::span<const std::byte> data) { return HashOf(data); }) {}

  const sdk::BlockGeometry& Geometry() const override { return inner_->Geometry(); }

  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    const TransferResult result = inner_->Write(offset, data);
    if (result.IsDone()) {
      written_.Write(offset, data);
    } else {
      written_.Forget(offset, data.size());
    }
    Add(FieldWriter(kind::kWrite).Text(name_).Number(offset).Number(data.size()), result, data,
        false);
    return result;
  }

  TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    const TransferResult result = inner_->Read(offset, data);
    const bool isAsWritten =
        result.IsDone() &&
        written_.Each(offset, data.size(), [&](const std::string& hash, std::size_t at) {
          return hash == HashOf(data.subspan(at, Geometry().logicalSectorBytes));
        });
    Add(FieldWriter(kind::kRead).Text(name_).Number(offset).Number(data.size()), result, data,
        isAsWritten);
    return result;
  }

  TransferResult Flush() override {
    const TransferResult result = inner_->Flush();
    recorder_->tape.Add(FieldWriter(kind::kFlush).Text(name_), TransferAnswer{result, {}});
    return result;
  }

 private:
  void Add(const FieldWriter& access, const TransferResult& result, std::span<const std::byte> data,
           bool isAsWritten) {
    recorder_->tape.Add(access,
                        TransferAnswer{result, result.IsDone() ? HashOf(data) : "", isAsWritten});
  }
  // Empty of zeros, which are nobody's secret: a replay gives them as they are.
  std::string HashOf(std::span<const std::byte> data) const {
    const bool isZero =
        std::all_of(data.begin(), data.end(), [](std::byte one) { return one == std::byte{0}; });
    return isZero ? std::string() : recorder_->redactor.HashOf(data);
  }

  const std::unique_ptr<sdk::BlockWriter> inner_;
  const std::string name_;
  const std::shared_ptr<Recorder> recorder_;
  WrittenSectors<std::string> written_;  // by the hash of each
};

class Look final : public sdk::FilesystemProbe {
 public:
  Look(std::unique_ptr<sdk::FilesystemProbe> inner, std::shared_ptr<Recorder> recorder)
      : inner_(std::move(inner)), recorder_(std::move(recorder)) {}

  std::optional<sdk::FilesystemFacts> Probe(const std::string& device,
                                            const std::string& mountPoint,
                                            std::chrono::milliseconds limit,
                                            std::stop_token stop) override {
    Redactor& redactor = recorder_->redactor;
    auto facts = inner_->Probe(redactor.RevealedPath(device), redactor.RevealedPath(mountPoint),
                               limit, std::move(stop));
    if (facts) facts->label = redactor.Text(facts->label);
    recorder_->tape.Add(
        FieldWriter(kind::kProbe).Text(redactor.Asked(device)).Text(redactor.Asked(mountPoint)),
        facts);
    return facts;
  }

 private:
  const std::unique_ptr<sdk::FilesystemProbe> inner_;
  const std::shared_ptr<Recorder> recorder_;
};

class Memory final : public sdk::LockedMemory {
 public:
  Memory(std::unique_ptr<sdk::LockedMemory> inner, std::string name,
         std::shared_ptr<Recorder> recorder)
      : inner_(std::move(inner)), name_(std::move(name)), recorder_(std::move(recorder)) {}

  std::span<std::byte> Bytes() override { return inner_->Bytes(); }
  std::optional<std::uint64_t> PhysicalAddress(std::size_t offset) const override {
    const auto address = inner_->PhysicalAddress(offset);
    recorder_->tape.Add(FieldWriter(kind::kPhysical).Text(name_).Number(offset), address);
    return address;
  }

 private:
  const std::unique_ptr<sdk::LockedMemory> inner_;
  const std::string name_;
  const std::shared_ptr<Recorder> recorder_;
};

}  // namespace

std::unique_ptr<sdk::BlockReader> RecordReader(std::unique_ptr<sdk::BlockReader> inner,
                                               std::string name,
                                               std::shared_ptr<Recorder> recorder) {
  return std::make_unique<Reader>(std::move(inner), std::move(name), std::move(recorder));
}

std::unique_ptr<sdk::BlockWriter> RecordWriter(std::unique_ptr<sdk::BlockWriter> inner,
                                               std::string name,
                                               std::shared_ptr<Recorder> recorder) {
  return std::make_unique<Writer>(std::move(inner), std::move(name), std::move(recorder));
}

std::unique_ptr<sdk::FilesystemProbe> RecordProbe(std::unique_ptr<sdk::FilesystemProbe> inner,
                                                  std::shared_ptr<Recorder> recorder) {
  return std::make_unique<Look>(std::move(inner), std::move(recorder));
}

std::unique_ptr<sdk::LockedMemory> RecordMemory(std::unique_ptr<sdk::LockedMemory> inner,
                                                std::string name,
                                                std::shared_ptr<Recorder> recorder) {
  return std::make_unique<Memory>(std::move(inner), std::move(name), std::move(recorder));
}

}  // namespace orvan::recording
