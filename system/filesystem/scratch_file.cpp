#include "system/filesystem/scratch_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <future>
#include <limits>
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

// The transfer's result, once it has one. The transfer ends with the later of its thread and its
// user.
std::shared_future<std::int64_t> Start(const std::shared_ptr<Transfer>& transfer,
                                       const decltype(ScratchFile::make)& make) {
  std::packaged_task<std::int64_t()> task([transfer, make] { return make(*transfer); });
  std::shared_future<std::int64_t> result = task.get_future();
  std::thread(std::move(task)).detach();
  return result;
}

int Carry(ScratchFile& file, const std::shared_ptr<Transfer>& transfer, unsigned timeoutSeconds,
          std::size_t& done) {
  const auto isOverBy = [&file, end = std::chrono::steady_clock::now() +
                                      std::chrono::seconds(timeoutSeconds)] {
    return file.latest.wait_until(end) == std::future_status::ready;
  };
  const int late = transfer->direction == TransferDirection::kRead ? kReadTimedOut : kWriteTimedOut;
  if (file.latest.valid() && !isOverBy()) return late;
  file.latest = Start(transfer, file.make);
  if (!isOverBy()) return late;
  const std::int64_t moved = file.latest.get();
  if (moved < 0) return WasRefused(moved) ? kTransferNotStarted : kTransferIncomplete;
  done = std::min(static_cast<std::size_t>(moved), transfer->size);
  return done == transfer->size ? kTransferDone : kTransferIncomplete;
}

// One transfer, from or into memory of the caller's; the other is null.
int Run(ScratchFile& file, TransferDirection direction, std::uint64_t offset, std::size_t size,
        unsigned timeoutSeconds, std::size_t& done, const void* from, void* to) {
  done = 0;
  try {
    const auto transfer = Prepare(direction, file.descriptor, offset, size);
    if (transfer == nullptr) return kTransferNotStarted;
    if (from != nullptr && size > 0) std::memcpy(transfer->bytes.get(), from, size);
    const int result = Carry(file, transfer, timeoutSeconds, done);
    if (to != nullptr && done > 0) std::memcpy(to, transfer->bytes.get(), done);
    return result;
  } catch (const std::exception&) {  // no memory, or no thread
    return kTransferNotStarted;
  }
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
  return Run(*this, TransferDirection::kRead, offset, size, timeoutSeconds, done, nullptr, bytes);
}

int ScratchFile::Write(std::uint64_t offset, std::size_t size, std::size_t& done,
                       unsigned timeoutSeconds, const void* bytes) {
  return Run(*this, TransferDirection::kWrite, offset, size, timeoutSeconds, done, bytes, nullptr);
}
