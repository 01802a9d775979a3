#include "service/machine/device_content.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace orvan::machine {
namespace {

using sdk::WriteRefusal;
using BlkidProbe = std::unique_ptr<blkid_struct_probe, decltype(&blkid_free_probe)>;

// At both ends, where tables and nearly all signatures lie.
constexpr std::uint64_t kEndBytes = 1U << 20;

DeviceContent Unknown(int error) {
  return {WriteRefusal::kUnknownContent, error == 0 ? EIO : error};
}

// The library reads what it likes, and the device takes only whole sectors past the cache.
class CachedReads {
 public:
  explicit CachedReads(int fd) : fd_(fd), flags_(fcntl(fd, F_GETFL)) {
    if (flags_ == -1 || fcntl(fd_, F_SETFL, flags_ & ~O_DIRECT) == -1) {
      error_ = errno;
      return;
    }
    // What lies in the cache may be older than the device.
    posix_fadvise(fd_, 0, 0, POSIX_FADV_DONTNEED);
  }
  ~CachedReads() {
    if (error_ == 0) posix_fadvise(fd_, 0, 0, POSIX_FADV_DONTNEED);
    End();
  }
  CachedReads(const CachedReads&) = delete;
  CachedReads& operator=(const CachedReads&) = delete;

  int Error() const { return error_; }
  // Past the cache again. 0, or the errno.
  int End() {
    if (error_ != 0 || isOver_) return error_;
    isOver_ = true;
    return fcntl(fd_, F_SETFL, flags_) == -1 ? errno : 0;
  }

 private:
  const int fd_;
  const int flags_;
  int error_ = 0;
  bool isOver_ = false;
};

// Whether a table of partitions begins with one of these sectors. The library looks for it at the
// sectors that the device has now; behind another bridge they may have been of another size.
// Source: UEFI 2.10, table 5-5: the signature of the header.
bool HasTable(std::string_view bytes) {
  constexpr std::string_view kSignature = "EFI PART";
  constexpr std::size_t kLeastSector = 512;
  for (std::size_t at = 0; at < bytes.size(); at += kLeastSector) {
    if (bytes.substr(at).starts_with(kSignature)) return true;
  }
  return false;
}

// A read that fails is, for the library, an end of what it looks for in places.
int ReadAll(int fd, std::uint64_t from, std::uint64_t to, bool& hasTable) {
  std::vector<char> bytes(64U << 10);
  while (from < to) {
    const std::uint64_t size = std::min<std::uint64_t>(bytes.size(), to - from);
    const ssize_t got = pread(fd, bytes.data(), size, static_cast<off_t>(from));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return EIO;
    hasTable = hasTable || HasTable({bytes.data(), static_cast<std::size_t>(got)});
    from += static_cast<std::uint64_t>(got);
  }
  return 0;
}

int ReadBothEnds(int fd, bool& hasTable) {
  std::uint64_t size = 0;
  if (ioctl(fd, BLKGETSIZE64, &size) != 0) return errno;
  const int error = ReadAll(fd, 0, std::min(size, kEndBytes), hasTable);
  return error != 0 ? error : ReadAll(fd, size - std::min(size, kEndBytes), size, hasTable);
}

// What of several is found first does not matter.
DeviceContent FindSignature(int fd) {
  const BlkidProbe probe(blkid_new_probe(), blkid_free_probe);
  if (!probe) return Unknown(ENOMEM);
  errno = 0;
  if (blkid_probe_set_device(probe.get(), fd, 0, 0) != 0) return Unknown(errno);
  blkid_probe_enable_superblocks(probe.get(), 1);
  // A damaged one may be mended as long as nobody writes over it.
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_BADCSUM);
  blkid_probe_enable_partitions(probe.get(), 1);
  // Of a table at the end too, where the sector that announces it at the beginning is gone.
  blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_FORCE_GPT);
  errno = 0;
  const int answer = blkid_do_probe(probe.get());
  if (answer == 1) return {};
  if (answer != 0) return Unknown(errno);
  for (const char* const name : {"TYPE", "PTTYPE"}) {
    const char* value = nullptr;
    if (blkid_probe_lookup_value(probe.get(), name, &value, nullptr) == 0) {
      return {WriteRefusal::kHoldsData, 0, value};
    }
  }
  return {WriteRefusal::kHoldsData, 0, "a signature"};
}

// Partitions that the kernel knows outlive the table that they were read from.
std::optional<DeviceContent> FindPartition(const sdk::MachineFiles& files, std::uint64_t device) {
  int error = 0;
  const std::string folder = files.Resolve(
      "/sys/dev/block/" + std::to_string(device >> 32) + ':' + std::to_string(device & 0xFFFFFFFF),
      &error);
  // A device of no folder has no partitions that could be seen.
  if (error == 0 && !files.Exists(folder, &error) && error == 0) error = ENOENT;
  if (error != 0) return Unknown(error);
  const std::vector<std::string> names = files.List(folder, &error);
  for (const std::string& name : names) {
    if (error != 0) break;
    if (files.Exists(folder + '/' + name + "/partition", &error)) {
      return DeviceContent{WriteRefusal::kHoldsData, 0, name};
    }
  }
  if (error != 0) return Unknown(error);
  return {};
}

}  // namespace

DeviceContent FindContent(const sdk::MachineFiles& files, std::uint64_t device, int fd) {
  if (const auto found = FindPartition(files, device)) return *found;
  CachedReads reads(fd);
  if (reads.Error() != 0) return Unknown(reads.Error());
  bool hasTable = false;
  if (const int error = ReadBothEnds(fd, hasTable); error != 0) return Unknown(error);
  DeviceContent content = FindSignature(fd);
  if (content.refusal == WriteRefusal::kNone && hasTable) {
    content = {WriteRefusal::kHoldsData, 0, "gpt"};
  }
  if (content.refusal != WriteRefusal::kNone) return content;
  if (const int error = reads.End(); error != 0) return Unknown(error);
  return content;
}

}  // namespace orvan::machine
