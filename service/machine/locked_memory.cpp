#include "service/machine/locked_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "os/descriptor.h"

namespace orvan::machine {
namespace {

// An entry of the page map.
// Source: Linux, Documentation/admin-guide/mm/pagemap.rst: bits 0 to 54 are the number of the page
// frame, 0 for who may not know it; bit 63 says that the page is present.
constexpr std::uint64_t kFrameMask = (std::uint64_t{1} << 55) - 1;
constexpr std::uint64_t kPresent = std::uint64_t{1} << 63;

std::uint64_t PageBytes() {
  return static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

class LockedPages final : public sdk::LockedMemory {
 public:
  LockedPages(void* begin, std::size_t bytes)
      : begin_(static_cast<std::byte*>(begin)),
        bytes_(bytes),
        pageMap_(open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC | O_NOFOLLOW)) {}
  ~LockedPages() override { munmap(begin_, bytes_); }
  LockedPages(const LockedPages&) = delete;
  LockedPages& operator=(const LockedPages&) = delete;

  std::span<std::byte> Bytes() override { return {begin_, bytes_}; }

  // Asked anew each time, for the kernel may still move a page to gather free ones.
  std::optional<std::uint64_t> PhysicalAddress(std::size_t offset) const override {
    if (offset >= bytes_ || !pageMap_.IsOpen()) return {};
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(begin_) + offset;
    std::uint64_t entry = 0;
    const auto place = static_cast<off_t>(address / PageBytes() * sizeof(entry));
    if (pread(pageMap_.Get(), &entry, sizeof(entry), place) != sizeof(entry)) return {};
    const std::uint64_t frame = entry & kFrameMask;
    if ((entry & kPresent) == 0 || frame == 0) return {};
    return frame * PageBytes() + address % PageBytes();
  }

 private:
  std::byte* begin_;
  std::size_t bytes_;
  tarvex::Descriptor pageMap_;
};

}  // namespace

sdk::LockedMemoryResult LockPages(std::size_t bytes) {
  void* begin = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (begin == MAP_FAILED) return {nullptr, errno};
  auto memory = std::make_unique<LockedPages>(begin, bytes);
  // A copy of this process would share the pages, and then the first write would move them.
  if (madvise(begin, bytes, MADV_DONTFORK) != 0 || mlock2(begin, bytes, 0) != 0) {
    return {nullptr, errno};
  }
  return {std::move(memory), 0};
}

}  // namespace orvan::machine
