#include "system/filesystem/scratch_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "system/filesystem/filesystem.h"

namespace {

using tarvex::TransferDirection;
using tarvex::TransferWait;

// Results of a transfer that was refused for what it asked, and didn't fail on the way.
constexpr std::array kRefusals = {EBADF,  EINVAL, EFAULT, EFBIG,  EISDIR,
                                  ENODEV, ENOMEM, EPERM,  ESPIPE, EOPNOTSUPP};

bool WasRefused(std::int64_t result) {
  return std::find(kRefusals.begin(), kRefusals.end(), -result) != kRefusals.end();
}

int TimeOutResult(TransferDirection direction) {
  return direction == TransferDirection::kRead ? kReadTimedOut : kWriteTimedOut;
}

}  // namespace

bool ScratchFile::Prepare(std::size_t size) {
  if (engine_ == nullptr) engine_ = tarvex::MakeTransferEngine();
  if (buffer_ == nullptr || buffer_->Size() < size) buffer_ = tarvex::TransferBuffer::Make(size);
  return buffer_ != nullptr;
}

void ScratchFile::Abandon() {
  engine_->Abandon();
  buffer_.reset();
}

int ScratchFile::Transfer(TransferDirection direction, std::uint64_t offset, std::size_t size,
                          std::size_t& done, unsigned timeoutSeconds) {
  if (engine_->Start({direction, descriptor.Get(), offset, size, buffer_}) != 0) {
    buffer_.reset();
    return kTransferNotStarted;
  }
  std::int64_t result = 0;
  const TransferWait wait = engine_->Wait(std::chrono::seconds(timeoutSeconds), result);
  if (wait != TransferWait::kEnded) {
    Abandon();
    return wait == TransferWait::kTimedOut ? TimeOutResult(direction) : kTransferIncomplete;
  }
  if (result < 0) return WasRefused(result) ? kTransferNotStarted : kTransferIncomplete;
  done = std::min(static_cast<std::size_t>(result), size);
  return done == size ? kTransferDone : kTransferIncomplete;
}

int ScratchFile::Read(std::uint64_t offset, std::size_t size, std::size_t& done,
                      unsigned timeoutSeconds, void* bytes) {
  done = 0;
  if (!Prepare(size)) return kTransferNotStarted;
  const int result = Transfer(TransferDirection::kRead, offset, size, done, timeoutSeconds);
  if (done > 0) std::memcpy(bytes, buffer_->Data(), done);
  return result;
}

int ScratchFile::Write(std::uint64_t offset, std::size_t size, std::size_t& done,
                       unsigned timeoutSeconds, const void* bytes) {
  done = 0;
  if (!Prepare(size)) return kTransferNotStarted;
  if (size > 0) std::memcpy(buffer_->Data(), bytes, size);
  return Transfer(TransferDirection::kWrite, offset, size, done, timeoutSeconds);
}
