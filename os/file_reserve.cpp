#include "os/file_reserve.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace tarvex {
namespace {

constexpr std::uint64_t kStep = 64U << 10;

// Room beyond this limit is given, and yet nothing can be written there.
std::uint64_t LargestFile() {
  rlimit limit{};
  const bool isLimited = getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return isLimited ? limit.rlim_cur : std::numeric_limits<std::int64_t>::max();
}

}  // namespace

bool FileReserve::Hold(int file, std::uint64_t end) {
  if (!isAble_ || end <= held_) return true;
  const std::uint64_t largest = LargestFile();
  if (end > largest) return false;
  const std::uint64_t ahead = std::min((end / kStep + 1) * kStep, largest);
  return Ask(file, ahead) || Ask(file, end) || !isAble_;
}

bool FileReserve::Ask(int file, std::uint64_t end) {
  int result = -1;
  do {
    result = fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(held_),
                       static_cast<off_t>(end - held_));
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    isAble_ = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
    return false;
  }
  held_ = end;
  return true;
}

void FileReserve::GiveBack(int file, std::uint64_t size) {
  if (held_ > size && ftruncate(file, static_cast<off_t>(size)) == 0) Forget(size);
}

void FileReserve::Forget(std::uint64_t size) {
  held_ = std::min(held_, size);
}

}  // namespace tarvex
