#include "service/machine/block_reader.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <optional>
#include <utility>

#include "service/machine/block_device.h"
#include "service/machine/read_engine.h"
#include "service/machine/read_mailbox.h"
#include "service/machine/silence_watch.h"
#include "service/machine/thread_state.h"
#include "service/sdk/awake_clock.h"

namespace orvan::machine {
namespace {

using sdk::BlockReaderOptions;
using sdk::OpenedReader;
using sdk::OpenFailure;
using sdk::ReaderState;
using std::chrono::milliseconds;

// The thread answers each read within the time limit; one that hangs itself has this much longer.
constexpr milliseconds kSilenceGrace{2000};
constexpr std::uint32_t kLargestSectorBytes = 1U << 20;

class LiveBlockReader final : public sdk::BlockReader {
 public:
  LiveBlockReader(std::shared_ptr<ReadMailbox> mailbox, const sdk::BlockGeometry& geometry,
                  const BlockReaderOptions& options)
      : mailbox_(std::move(mailbox)),
        geometry_(geometry),
        capacity_(options.depth + options.queued),
        watch_(options.timeLimit + kSilenceGrace, options.stallLimit) {}
  ~LiveBlockReader() override { mailbox_->End(); }
  LiveBlockReader(const LiveBlockReader&) = delete;
  LiveBlockReader& operator=(const LiveBlockReader&) = delete;

  const sdk::BlockGeometry& Geometry() const override { return geometry_; }
  std::uint32_t Capacity() const override { return capacity_; }

  void Submit(const std::vector<sdk::BlockRead>& reads) override {
    if (outstanding_ == 0) watch_.Heard(clock_.Look());
    outstanding_ += reads.size();
    mailbox_->Order(reads);
  }

  ReaderState Collect(std::vector<sdk::BlockReadResult>& results, milliseconds wait) override {
    // What is silent by now has its last chance to be heard before it is judged.
    const sdk::AwakeClock::Duration now = clock_.Look();
    const std::size_t before = results.size();
    const ReadMailbox::News news = mailbox_->Take(results, std::min(wait, sdk::kAwakePace));
    outstanding_ -= results.size() - before;
    if (news.isLost) return ReaderState::kLost;
    if (news.isHeard) watch_.Heard(clock_.Look());
    return outstanding_ == 0 || news.isHeard ? ReaderState::kWorking : JudgeSilence(now);
  }

 private:
  ReaderState JudgeSilence(sdk::AwakeClock::Duration now) {
    using Finding = SilenceWatch::Finding;
    const Finding finding = watch_.Look(now, [this] { return ThreadState(mailbox_->Thread()); });
    if (finding == Finding::kAsk) mailbox_->AskForSign();
    if (finding == Finding::kHung) return ReaderState::kHung;
    return finding == Finding::kStalled ? ReaderState::kStalled : ReaderState::kWorking;
  }

  const std::shared_ptr<ReadMailbox> mailbox_;
  sdk::BlockGeometry geometry_;
  std::uint32_t capacity_;
  sdk::AwakeClock clock_;
  SilenceWatch watch_;
  std::size_t outstanding_ = 0;
};

bool IsPlausible(const BlockReaderOptions& options) {
  return options.depth >= 1 && options.depth <= sdk::kMostReadsInFlight && options.queued >= 1 &&
         options.queued <= sdk::kMostReadsQueued && options.largestReadBytes >= 1 &&
         options.largestReadBytes <= sdk::kLargestReadBytes && options.timeLimit >= milliseconds(1);
}

bool IsPlausible(const sdk::BlockGeometry& geometry) {
  const auto isSector = [](std::uint32_t bytes) {
    return bytes >= 512 && bytes <= kLargestSectorBytes && std::has_single_bit(bytes);
  };
  return isSector(geometry.logicalSectorBytes) && isSector(geometry.physicalSectorBytes);
}

struct Opening {
  int error = 0;
  std::shared_ptr<BlockDevice> device;
};

Opening Open(const BlockReaderOptions& options) {
  auto device = std::make_shared<BlockDevice>();
  const int error = device->Open({.path = options.device,
                                  .expected = options.expectedDevice,
                                  .sequence = options.diskSequence,
                                  .fileSectorBytes = options.fileSectorBytes,
                                  .isForWriting = false});
  return {error, std::move(device)};
}

OpenedReader Failed(OpenFailure failure, int error = 0) {
  return {nullptr, failure, error};
}

// A reader whose thread runs, of a device that is open.
OpenedReader Started(std::shared_ptr<BlockDevice> device,
                     std::shared_ptr<LeftBehindCount> leftBehind,
                     const BlockReaderOptions& options) {
  const sdk::BlockGeometry geometry = device->Geometry();
  if (!IsPlausible(geometry)) return Failed(OpenFailure::kReader, EPROTO);
  auto mailbox = std::make_shared<ReadMailbox>(std::move(leftBehind));
  int error = mailbox->Open();
  auto engine = std::make_unique<ReadEngine>(mailbox, std::move(device), options);
  if (error == 0) error = engine->SetUp();
  if (error == 0) error = ReadEngine::Start(std::move(engine));
  if (error != 0) return Failed(OpenFailure::kReader, error);
  return {std::make_unique<LiveBlockReader>(std::move(mailbox), geometry, options),
          OpenFailure::kNone, 0};
}

}  // namespace

OpenedReader OpenBlockReader(ApartCalls& calls, std::shared_ptr<LeftBehindCount> leftBehind,
                             const BlockReaderOptions& options, std::stop_token stop) {
  if (!IsPlausible(options)) return Failed(OpenFailure::kReader, EINVAL);
  ApartCalls::End end = ApartCalls::End::kNotTried;
  std::optional<Opening> opening = calls.Ask(
      [options] { return Open(options); },
      {.time = options.timeLimit, .stop = std::move(stop), .stall = options.stallLimit}, end);
  if (end == ApartCalls::End::kHung) return Failed(OpenFailure::kHung);
  if (end == ApartCalls::End::kStalled) return Failed(OpenFailure::kStalled);
  if (end == ApartCalls::End::kStopped) return Failed(OpenFailure::kStopped);
  if (!opening) return Failed(OpenFailure::kReader, EAGAIN);
  if (opening->error != 0) return Failed(OpenFailure::kDevice, opening->error);
  return Started(std::move(opening->device), std::move(leftBehind), options);
}

}  // namespace orvan::machine
