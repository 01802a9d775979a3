#include "service/machine/block_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "service/machine/block_device.h"
#include "service/machine/device_content.h"
#include "service/machine/device_use.h"
#include "service/sdk/read_errors.h"

namespace orvan::machine {
namespace {

using sdk::BlockWriterOptions;
using sdk::OpenedWriter;
using sdk::TransferResult;
using sdk::WriteRefusal;
using End = ApartCalls::End;
using Outcome = TransferResult::Outcome;

constexpr std::size_t kAlignment = 4096;  // what every device takes

// What a transfer works on. It belongs to each call that is under way, too.
struct Medium {
  BlockDevice device;
  struct Freed {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<std::byte, Freed> buffer;
};

// 0, or the errno of a transfer of all bytes; `move` is pread or pwrite.
template <typename Move>
int MoveAll(Move move, Medium& medium, std::uint64_t offset, std::size_t size) {
  for (std::size_t done = 0; done < size;) {
    const ssize_t moved = move(medium.device.Number(), medium.buffer.get() + done, size - done,
                               static_cast<off_t>(offset + done));
    if (moved < 0 && errno == EINTR) continue;
    if (moved < 0) return errno;
    if (moved == 0) return EIO;  // an end of the data before the device's has no errno of its own
    done += static_cast<std::size_t>(moved);
  }
  return 0;
}

class LiveBlockWriter final : public sdk::BlockWriter {
 public:
  LiveBlockWriter(ApartCalls& calls, std::shared_ptr<Medium> medium, WriteGrant grant,
                  const BlockWriterOptions& options, std::stop_token stop)
      : calls_(calls),
        medium_(std::move(medium)),
        grant_(std::move(grant)),
        geometry_(medium_->device.Geometry()),
        options_(options),
        stop_(options.stopEndsTransfers ? std::move(stop) : std::stop_token()) {}

  const sdk::BlockGeometry& Geometry() const override { return geometry_; }

  TransferResult Write(std::uint64_t offset, std::span<const std::byte> data) override {
    if (const int error = Fault(offset, data.size()); error != 0)
      return {Outcome::kNotTried, error};
    std::copy(data.begin(), data.end(), medium_->buffer.get());
    return Do([medium = medium_, offset, size = data.size()] {
      return MoveAll(pwrite, *medium, offset, size);
    });
  }

  TransferResult Read(std::uint64_t offset, std::span<std::byte> data) override {
    if (const int error = Fault(offset, data.size()); error != 0)
      return {Outcome::kNotTried, error};
    const TransferResult result = Do([medium = medium_, offset, size = data.size()] {
      return MoveAll(pread, *medium, offset, size);
    });
    if (result.IsDone()) {
      std::copy_n(medium_->buffer.get(), static_cast<std::ptrdiff_t>(data.size()), data.begin());
    }
    return result;
  }

  TransferResult Flush() override {
    if (const int error = Closed(); error != 0) return {Outcome::kNotTried, error};
    return Do([medium = medium_] { return fsync(medium->device.Number()) == 0 ? 0 : errno; });
  }

 private:
  // 0, or the errno of why nothing more is tried.
  int Closed() const {
    if (!*grant_) return EPERM;
    return isOver_ ? ESHUTDOWN : 0;
  }

  // 0, or the errno of why this transfer cannot be tried.
  int Fault(std::uint64_t offset, std::size_t size) const {
    if (const int error = Closed(); error != 0) return error;
    const bool isWhole = size > 0 && size % geometry_.logicalSectorBytes == 0 &&
                         offset % geometry_.logicalSectorBytes == 0;
    const bool isOnIt = offset <= geometry_.sizeBytes && size <= geometry_.sizeBytes - offset;
    return isWhole && isOnIt && size <= options_.largestTransferBytes ? 0 : EINVAL;
  }

  TransferResult Do(std::function<int()> work) {
    End end = End::kDone;
    const auto answer = calls_.Ask(
        [medium = medium_, grant = grant_, work = std::move(work)] {
          // It may have ended before this thread had its turn.
          const int error = *grant ? work() : EPERM;
          return error != 0 && medium->device.IsGone() ? ENODEV : error;
        },
        {.time = options_.timeLimit, .stop = stop_}, end);
    isOver_ = end == End::kHung || end == End::kStalled || end == End::kStopped;
    if (end == End::kStopped) return {Outcome::kStopped, 0};
    if (end == End::kHung) return {Outcome::kTimedOut, ETIMEDOUT};
    if (end == End::kStalled) return {Outcome::kNotTried, ETIME};
    if (!answer) return {Outcome::kNotTried, EAGAIN};
    if (*answer == 0) return {Outcome::kDone, 0};
    return {sdk::IsOwnFault(*answer) ? Outcome::kNotTried : Outcome::kFailed, *answer};
  }

  ApartCalls& calls_;
  // What hangs in a transfer is the call's alone from then on.
  const std::shared_ptr<Medium> medium_;
  const WriteGrant grant_;
  const sdk::BlockGeometry geometry_;
  const BlockWriterOptions options_;
  const std::stop_token stop_;
  bool isOver_ = false;
};

struct Opening {
  OpenedWriter refused;
  std::shared_ptr<Medium> medium;
};

Opening Refused(WriteRefusal refusal, int error, std::string user = {}) {
  return {{nullptr, refusal, error, std::move(user)}, nullptr};
}

// Whether an errno of the opening is our own fault and not the device's.
bool IsOurs(int error) {
  return error == ENOMEM || error == EMFILE || error == ENFILE || error == EINTR ||
         error == EINVAL || error == EFAULT;
}

Opening Open(const sdk::MachineFiles& files, const BlockWriterOptions& options) {
  const DeviceUse use = FindUse(files, options.expectedDevice);
  if (use.refusal != WriteRefusal::kNone) return Refused(use.refusal, use.error, use.user);
  auto medium = std::make_shared<Medium>();
  const int error = medium->device.Open({.path = options.device,
                                         .expected = options.expectedDevice,
                                         .sequence = options.diskSequence,
                                         .fileSectorBytes = 0,
                                         .isForWriting = true});
  if (error == EBUSY) return Refused(WriteRefusal::kBusy, error);
  if (error != 0) {
    return Refused(IsOurs(error) ? WriteRefusal::kOwnFault : WriteRefusal::kDevice, error);
  }
  // Who uses it without a claim may have begun before the opening.
  const DeviceUse since = FindUse(files, options.expectedDevice);
  if (since.refusal != WriteRefusal::kNone) return Refused(since.refusal, since.error, since.user);
  if (options.onlyWithoutSignature) {
    DeviceContent content = FindContent(files, options.expectedDevice, medium->device.Number());
    if (medium->device.IsGone()) return Refused(WriteRefusal::kDevice, ENODEV);
    if (content.refusal != WriteRefusal::kNone) {
      return Refused(content.refusal, content.error, std::move(content.what));
    }
  }
  const std::size_t bytes =
      (options.largestTransferBytes + kAlignment - 1) / kAlignment * kAlignment;
  medium->buffer.reset(static_cast<std::byte*>(std::aligned_alloc(kAlignment, bytes)));
  if (!medium->buffer) return Refused(WriteRefusal::kOwnFault, ENOMEM);
  return {{}, std::move(medium)};
}

}  // namespace

OpenedWriter OpenBlockWriter(ApartCalls& calls, std::shared_ptr<const sdk::MachineFiles> files,
                             WriteGrant grant, const BlockWriterOptions& options,
                             std::stop_token stop) {
  if (options.expectedDevice == 0 || options.largestTransferBytes == 0 ||
      options.largestTransferBytes > sdk::kLargestReadBytes ||
      options.timeLimit < std::chrono::milliseconds(1)) {
    return {nullptr, WriteRefusal::kOwnFault, EINVAL};
  }
  End end = End::kDone;
  // Copied, for what hangs here may go on when the caller's own are gone.
  std::optional<Opening> opening =
      calls.Ask([files = std::move(files), options] { return Open(*files, options); },
                {.time = options.timeLimit, .stop = stop}, end);
  if (end == End::kHung) return {nullptr, WriteRefusal::kHung, ETIMEDOUT};
  if (end == End::kStopped) return {nullptr, WriteRefusal::kStopped, 0};
  if (end == End::kStalled) return {nullptr, WriteRefusal::kOwnFault, ETIME};
  if (!opening) return {nullptr, WriteRefusal::kOwnFault, EAGAIN};
  if (!opening->medium) return std::move(opening->refused);
  OpenedWriter opened;
  opened.writer = std::make_unique<LiveBlockWriter>(calls, std::move(opening->medium),
                                                    std::move(grant), options, std::move(stop));
  return opened;
}

}  // namespace orvan::machine
