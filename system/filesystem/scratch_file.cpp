#include "system/filesystem/scratch_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <limits>
#include <system_error>
#include <thread>

#include "system/filesystem/filesystem.h"

namespace {

using tarvex::Descriptor;
using tarvex::Transfer;
using tarvex::TransferDirection;

constexpr std::size_t kAlignment = 4096;

// Results of a transfer that was refused for what it asked, and didn't fail on the way.
constexpr std::array kRefusals = {EBADF,  EINVAL, EFAULT, EFBIG,  EISDIR,
                                  ENODEV, ENOMEM, EPERM,  ESPIPE, EOPNOTSUPP};

bool WasRefused(std::int64_t result) {
  return std::find(kRefusals.begin(), kRefusals.end(), -result) != kRefusals.end();
}

// Null when there is no memory, or no descriptor for it.
std::shared_ptr<Transfer> Prepare(TransferDirection direction, const Descriptor& file,
                                  std::uint64_t offset, std::size_t size) {
  if (size > SIZE_MAX - kAlignment) return nullptr;
  const std::size_t blocks = size / kAlignment + 1;
  auto transfer = std::make_shared<Transfer>();
  transfer->bytes.reset(static_cast<char*>(std::aligned_alloc(kAlignment, blocks * kAlignment)));
  transfer->file = Descriptor(fcntl(file.Get(), F_DUPFD_CLOEXEC, 0));
  if (transfer->bytes == nullptr || !transfer->file.IsOpen()) return nullptr;
  transfer->direction = direction;
  transfer->offset = offset;
  transfer->size = size;
  return transfer;
}

// The transfer's result, once it has one. It and its thread end with the later of both users.
std::future<std::int64_t> Start(const std::shared_ptr<Transfer>& transfer,
                                const decltype(ScratchFile::make)& make) {
  std::packaged_task<std::int64_t()> task([transfer, make] { return make(*transfer); });
  std::future<std::int64_t> result = task.get_future();
  std::thread(std::move(task)).detach();
  return result;
}

int WaitFor(const std::shared_ptr<Transfer>& transfer, const decltype(ScratchFile::make)& make,
            unsigned timeoutSeconds, std::size_t& done) {
  std::future<std::int64_t> result;
  try {
    result = Start(transfer, make);
  } catch (const std::system_error&) {
    return kTransferNotStarted;
  }
  if (result.wait_for(std::chrono::seconds(timeoutSeconds)) != std::future_status::ready) {
    return transfer->direction == TransferDirection::kRead ? kReadTimedOut : kWriteTimedOut;
  }
  const std::int64_t moved = result.get();
  if (moved < 0) return WasRefused(moved) ? kTransferNotStarted : kTransferIncomplete;
  done = std::min(static_cast<std::size_t>(moved), transfer->size);
  return done == transfer->size ? kTransferDone : kTransferIncomplete;
}

}  // namespace

namespace tarvex {

std::int64_t MakeTransfer(Transfer& transfer) {
  if (transfer.offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return -EINVAL;
  }
  const auto offset = static_cast<off_t>(transfer.offset);
  ssize_t moved = 0;
  do {
    moved = transfer.direction == TransferDirection::kRead
                ? pread(transfer.file.Get(), transfer.bytes.get(), transfer.size, offset)
                : pwrite(transfer.file.Get(), transfer.bytes.get(), transfer.size, offset);
  } while (moved < 0 && errno == EINTR);
  return moved < 0 ? -errno : moved;
}

}  // namespace tarvex

int ScratchFile::Read(std::uint64_t offset, std::size_t size, std::size_t& done,
                      unsigned timeoutSeconds, void* bytes) {
  done = 0;
  const auto transfer = Prepare(TransferDirection::kRead, descriptor, offset, size);
  if (transfer == nullptr) return kTransferNotStarted;
  const int result = WaitFor(transfer, make, timeoutSeconds, done);
  if (done > 0) std::memcpy(bytes, transfer->bytes.get(), done);
  return result;
}

int ScratchFile::Write(std::uint64_t offset, std::size_t size, std::size_t& done,
                       unsigned timeoutSeconds, const void* bytes) {
  done = 0;
  const auto transfer = Prepare(TransferDirection::kWrite, descriptor, offset, size);
  if (transfer == nullptr) return kTransferNotStarted;
  if (size > 0) std::memcpy(transfer->bytes.get(), bytes, size);
  return WaitFor(transfer, make, timeoutSeconds, done);
}
