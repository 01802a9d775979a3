#include "tests/support/faulty_machine.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace orvan::sdk::testing {
namespace {

// Two reads at the same disk share what is wrong with its medium.
machine::DiskFaults ReadFaultsOf(const FaultyDisk& disk) {
  machine::DiskFaults faults = disk.reads;
  const auto medium = disk.medium;
  const auto own = faults.isBad;
  faults.isBad = [medium, own](std::uint64_t sector) {
    if (!medium->IsThereNow()) return ENODEV;
    const int error = medium->SectorError(sector);
    return error == 0 && own ? own(sector) : error;
  };
  return faults;
}

class Writer final : public BlockWriter {
 public:
  Writer(std::shared_ptr<MemoryDisk> disk, std::shared_ptr<const bool> grant,
         const BlockWriterOptions& options, std::stop_token stop)
      : disk_(std::move(disk)),
        grant_(std::move(grant)),
        largest_(options.largestTransferBytes),
        stop_(options.stopEndsTransfers ? std::move(stop) : std::stop_token()) {}
  const BlockGeometry& Geometry() const override { return disk_->Geometry(); }
  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    return Transfer(offset, data.size(), [&] { return disk_->Write(offset, data); });
  }
  TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    return Transfer(offset, data.size(), [&] { return disk_->Read(offset, data); });
  }
  TransferResult Flush() override {
    return Transfer(0, Geometry().logicalSectorBytes, [&] { return disk_->Flush(); });
  }

 private:
  template <typename Do>
  TransferResult Transfer(std::uint64_t offset, std::size_t size, Do transfer) {
    const BlockGeometry& geometry = Geometry();
    if (!*grant_) return {TransferResult::Outcome::kNotTried, EPERM};
    if (isShut_) return {TransferResult::Outcome::kNotTried, ESHUTDOWN};
    if (offset % geometry.logicalSectorBytes != 0 || size % geometry.logicalSectorBytes != 0 ||
        size == 0 || size > largest_ || offset > geometry.sizeBytes ||
        size > geometry.sizeBytes - offset) {
      return {TransferResult::Outcome::kNotTried, EINVAL};
    }
    const TransferResult result =
        stop_.stop_requested() ? TransferResult{TransferResult::Outcome::kStopped, 0} : transfer();
    isShut_ = result.outcome == TransferResult::Outcome::kTimedOut ||
              result.outcome == TransferResult::Outcome::kStopped;
    return result;
  }

  std::shared_ptr<MemoryDisk> disk_;
  std::shared_ptr<const bool> grant_;
  std::uint32_t largest_;
  std::stop_token stop_;
  bool isShut_ = false;
};

class Look final : public FilesystemProbe {
 public:
  Look(FaultyMachine& machine, std::chrono::milliseconds budget)
      : machine_(machine), left_(budget) {}

  std::optional<FilesystemFacts> Probe(const std::string& device, const std::string& mountPoint,
                                       std::chrono::milliseconds limit,
                                       std::stop_token stop) override;

 private:
  FaultyMachine& machine_;
  std::chrono::milliseconds left_;
};

// Memory that lies anywhere.
class Memory final : public LockedMemory {
 public:
  Memory(std::size_t bytes, std::map<std::size_t, std::uint64_t> addresses)
      : bytes_(bytes), addresses_(std::move(addresses)) {}
  std::span<std::byte> Bytes() override { return bytes_; }
  std::optional<std::uint64_t> PhysicalAddress(std::size_t offset) const override {
    const auto found = addresses_.find(offset);
    if (found == addresses_.end()) return {};
    return found->second;
  }

 private:
  std::vector<std::byte> bytes_;
  std::map<std::size_t, std::uint64_t> addresses_;
};

bool IsItsMedium(const FaultyDisk& disk, std::uint64_t sequence) {
  return disk.diskSequence == 0 || disk.diskSequence == sequence;
}

}  // namespace

OpenedReader FaultyMachine::OpenReader(const BlockReaderOptions& options, std::stop_token stop) {
  if (stop.stop_requested()) return {nullptr, OpenFailure::kStopped, 0};
  const auto found = disks.find(options.device);
  if (found == disks.end()) return {nullptr, OpenFailure::kDevice, ENOENT};
  const FaultyDisk& disk = found->second;
  if (disk.openFailure != OpenFailure::kNone) return {nullptr, disk.openFailure, disk.openError};
  const bool isIt = (options.expectedDevice == 0 || options.expectedDevice == disk.deviceNumber) &&
                    (options.diskSequence == 0 || IsItsMedium(disk, options.diskSequence));
  if (!isIt || !disk.medium->HasPower()) return {nullptr, OpenFailure::kDevice, ENODEV};
  auto reader = std::make_unique<machine::FaultyBlockReader>(disk.medium->Geometry(),
                                                             ReadFaultsOf(disk), options.depth);
  reader->onCollect = [this] { now += collectTakes; };
  reader->clock = [this] { return now.time_since_epoch(); };
  return {std::move(reader), OpenFailure::kNone, 0};
}

OpenedWriter FaultyMachine::OpenWriter(const BlockWriterOptions& options, std::stop_token stop) {
  if (!*grant_) return {nullptr, WriteRefusal::kNotGranted, 0};
  if (stop.stop_requested()) return {nullptr, WriteRefusal::kStopped, 0};
  const auto found = disks.find(options.device);
  if (found == disks.end()) return {nullptr, WriteRefusal::kDevice, ENOENT};
  const FaultyDisk& disk = found->second;
  if (disk.refusal != WriteRefusal::kNone) {
    return {nullptr, disk.refusal, disk.refusalError, disk.user};
  }
  if (disk.diskSequence != 0 && options.diskSequence == 0) {
    return {nullptr, WriteRefusal::kOwnFault, EINVAL};
  }
  const bool isIt =
      options.expectedDevice == disk.deviceNumber && IsItsMedium(disk, options.diskSequence);
  if (!isIt || !disk.medium->HasPower()) return {nullptr, WriteRefusal::kDevice, ENODEV};
  const auto held = fileSystems.find(options.device);
  if (options.onlyWithoutSignature && held != fileSystems.end()) {
    const FilesystemFacts& facts = held->second;
    return {nullptr, WriteRefusal::kHoldsData, 0,
            facts.fileSystem.empty() ? facts.tableType : facts.fileSystem};
  }
  return {std::make_unique<Writer>(disk.medium, grant_, options, std::move(stop)),
          WriteRefusal::kNone, 0};
}

std::unique_ptr<FilesystemProbe> FaultyMachine::MakeProbe(std::chrono::milliseconds budget) {
  return std::make_unique<Look>(*this, budget);
}

std::optional<FilesystemFacts> Look::Probe(const std::string& device, const std::string& mountPoint,
                                           std::chrono::milliseconds limit, std::stop_token stop) {
  if (stop.stop_requested() || left_ <= std::chrono::milliseconds(0)) return {};
  FilesystemFacts facts;
  for (const std::string* name : {&device, &mountPoint}) {
    if (machine_.hangingFileSystems.contains(*name)) {
      const auto took = std::min(limit, left_);
      machine_.now += took;
      left_ -= took;
      return {};
    }
    const auto found = machine_.fileSystems.find(*name);
    if (found == machine_.fileSystems.end()) continue;
    if (name == &device) facts = found->second;
    facts.use = name == &mountPoint ? found->second.use : std::nullopt;
  }
  return facts;
}

CommandAnswer FaultyMachine::Send(const DriveCommand& command, std::stop_token stop) {
  CommandAnswer answer;
  if (!*grant_ && !onlyReads(command)) {
    answer.outcome = CommandAnswer::Outcome::kNotGranted;
    return answer;
  }
  if (stop.stop_requested()) {
    answer.error = ECANCELED;
    return answer;
  }
  sent.push_back(command);
  const auto row = std::find_if(commands.begin(), commands.end(), [&](const auto& one) {
    return one.times != 0 && (!one.matches || one.matches(command));
  });
  if (row == commands.end()) {
    answer.outcome = CommandAnswer::Outcome::kRefused;
    answer.error = ENOTTY;
    return answer;
  }
  if (row->times > 0) --row->times;
  answer = row->make ? row->make(command) : row->answer;
  if (answer.outcome == CommandAnswer::Outcome::kTimedOut) now += command.timeLimit;
  return answer;
}

int FaultyMachine::PinThisThread(std::uint32_t processor) {
  return processor < processors ? 0 : EINVAL;
}

LockedMemoryResult FaultyMachine::LockMemory(std::size_t bytes) {
  if (bytes > lockableBytes) return {nullptr, ENOMEM};
  return {std::make_unique<Memory>(bytes, physicalAddresses), 0};
}

}  // namespace orvan::sdk::testing
