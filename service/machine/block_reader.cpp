#include "service/machine/block_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "service/machine/helper_process.h"
#include "service/machine/helper_protocol.h"
#include "service/machine/silence_watch.h"
#include "service/sdk/awake_clock.h"

namespace orvan::machine {
namespace {

using std::chrono::milliseconds;

// The helper answers each read within the time limit; one that hangs itself has this much longer.
constexpr milliseconds kSilenceGrace{2000};
constexpr milliseconds kStopPoll{50};
constexpr std::uint32_t kLargestSectorBytes = 1U << 20;

class HelperBlockReader final : public BlockReader {
 public:
  HelperBlockReader(std::unique_ptr<HelperProcess> helper, const BlockGeometry& geometry,
                    const BlockReaderOptions& options)
      : helper_(std::move(helper)),
        geometry_(geometry),
        capacity_(options.depth + options.queued),
        watch_(options.timeLimit + kSilenceGrace, options.stallLimit) {}

  const BlockGeometry& Geometry() const override { return geometry_; }
  std::uint32_t Capacity() const override { return capacity_; }

  void Submit(const std::vector<BlockRead>& reads) override {
    if (outstanding_.empty()) watch_.Heard(clock_.Look());
    for (std::size_t first = 0; first < reads.size(); first += kMostReadsPerMessage) {
      ReadMessage message;
      message.head.count = static_cast<std::uint32_t>(
          std::min<std::size_t>(reads.size() - first, kMostReadsPerMessage));
      for (std::uint32_t i = 0; i < message.head.count; ++i) {
        message.reads[i] = reads[first + i];
        outstanding_.push_back(reads[first + i].id);
      }
      // A helper that takes no message ends the reading in the next Collect.
      if (!helper_->Send(&message, ListBytes<BlockRead>(message.head.count))) lost_ = true;
    }
  }

  ReaderState Collect(std::vector<BlockReadResult>& results, milliseconds wait) override {
    std::size_t size = 0;
    DoneMessage message;
    heard_ = false;
    // What is silent by now has its last chance to be heard before it is judged.
    const sdk::AwakeClock::Duration now = clock_.Look();
    milliseconds patience = std::min(wait, sdk::kAwakePace);
    while (!lost_) {
      const auto receipt = helper_->Receive(&message, sizeof(message), size, patience);
      if (receipt == HelperProcess::Receipt::kClosed) lost_ = true;
      if (receipt != HelperProcess::Receipt::kMessage) break;
      lost_ = !Take(message, size, results);
      patience = milliseconds(0);
    }
    if (lost_) return ReaderState::kLost;
    return outstanding_.empty() || heard_ ? ReaderState::kWorking : JudgeSilence(now);
  }

 private:
  // False when the helper answered with anything but what was asked.
  bool Take(const DoneMessage& message, std::size_t size, std::vector<BlockReadResult>& results) {
    if (size < sizeof(MessageHead)) return false;
    heard_ = true;
    watch_.Heard(clock_.Look());
    if (message.head.kind == MessageKind::kAlive) return size == sizeof(MessageHead);
    if (message.head.kind != MessageKind::kDone || message.head.count > kMostReadsPerMessage ||
        size != ListBytes<BlockReadResult>(message.head.count)) {
      return false;
    }
    for (std::uint32_t i = 0; i < message.head.count; ++i) {
      const BlockReadResult& result = message.results[i];
      const auto asked = std::find(outstanding_.begin(), outstanding_.end(), result.id);
      if (asked == outstanding_.end() || result.outcome > ReadOutcome::kNotTried) return false;
      outstanding_.erase(asked);
      results.push_back(result);
    }
    return true;
  }

  ReaderState JudgeSilence(sdk::AwakeClock::Duration now) {
    using Finding = SilenceWatch::Finding;
    const Finding finding = watch_.Look(now, [this] { return helper_->State(); });
    if (finding == Finding::kAsk) {
      // One that is gone is noticed by the next Collect.
      const MessageHead question{MessageKind::kAsk, 0};
      helper_->Send(&question, sizeof(question));
    }
    if (finding == Finding::kHung) return ReaderState::kHung;
    return finding == Finding::kStalled ? ReaderState::kStalled : ReaderState::kWorking;
  }

  std::unique_ptr<HelperProcess> helper_;
  BlockGeometry geometry_;
  std::uint32_t capacity_;
  sdk::AwakeClock clock_;
  SilenceWatch watch_;
  std::vector<std::uint64_t> outstanding_;
  bool heard_ = false;  // in the present Collect
  bool lost_ = false;
};

bool IsPlausible(const OpenedMessage& message, std::size_t size) {
  const auto isSector = [](std::uint32_t bytes) {
    return bytes >= 512 && bytes <= kLargestSectorBytes && (bytes & (bytes - 1)) == 0;
  };
  if (size != sizeof(message) || message.head.kind != MessageKind::kOpened) return false;
  return message.error != 0 ||
         (isSector(message.logicalSectorBytes) && isSector(message.physicalSectorBytes));
}

OpenedReader Judged(HelperProcess::Receipt receipt, const OpenedMessage& message,
                    std::size_t size) {
  if (receipt == HelperProcess::Receipt::kClosed || !IsPlausible(message, size)) {
    return {nullptr, OpenFailure::kReader, EPROTO};
  }
  if (message.error == 0) return {};
  return {nullptr, message.readerFault != 0 ? OpenFailure::kReader : OpenFailure::kDevice,
          message.error};
}

// Waits for the answer to the opening in short steps, so that a stop is seen.
OpenedReader AwaitOpened(HelperProcess& helper, OpenedMessage& message,
                         const BlockReaderOptions& options, const std::stop_token& stop) {
  sdk::AwakeClock clock;
  sdk::AwakeClock::Duration stalled{};
  for (sdk::AwakeClock::Duration last{};;) {
    if (stop.stop_requested()) return {nullptr, OpenFailure::kStopped, 0};
    const sdk::AwakeClock::Duration now = clock.Look();
    std::size_t size = 0;
    const auto receipt = helper.Receive(&message, sizeof(message), size, kStopPoll);
    if (receipt != HelperProcess::Receipt::kNothing) return Judged(receipt, message, size);
    // An opening that hangs sleeps; a helper that runs or is stopped has not come to it.
    const char state = helper.State();
    if (state != kInKernel && state != kSleeping) stalled += now - last;
    last = now;
    if (now - stalled >= options.timeLimit) return {nullptr, OpenFailure::kHung, 0};
    if (stalled >= options.stallLimit) return {nullptr, OpenFailure::kStalled, 0};
  }
}

}  // namespace

OpenedReader OpenBlockReader(const std::string& helperPath, const BlockReaderOptions& options,
                             std::stop_token stop) {
  OpenMessage open;
  if (options.device.size() >= open.device.size() || options.depth == 0 ||
      options.depth > kMostReadsInFlight || options.queued == 0 ||
      options.queued > kMostReadsQueued || options.largestReadBytes > kLargestReadBytes) {
    return {nullptr, OpenFailure::kReader, EINVAL};
  }
  open.depth = options.depth;
  open.largestReadBytes = options.largestReadBytes;
  open.timeLimitMs = static_cast<std::uint32_t>(options.timeLimit.count());
  open.fileSectorBytes = options.fileSectorBytes;
  open.expectedDevice = options.expectedDevice;
  std::memcpy(open.device.data(), options.device.data(), options.device.size());

  int error = 0;
  std::unique_ptr<HelperProcess> helper = HelperProcess::Start(helperPath, error);
  if (!helper) return {nullptr, OpenFailure::kReader, error};
  if (!helper->Send(&open, sizeof(open))) return {nullptr, OpenFailure::kReader, EPIPE};
  OpenedMessage opened;
  OpenedReader result = AwaitOpened(*helper, opened, options, stop);
  if (result.failure != OpenFailure::kNone) return result;
  const BlockGeometry geometry{opened.sizeBytes, opened.logicalSectorBytes,
                               opened.physicalSectorBytes};
  result.reader = std::make_unique<HelperBlockReader>(std::move(helper), geometry, options);
  return result;
}

}  // namespace orvan::machine
