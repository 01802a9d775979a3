#include "service/worker/memory_limit.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <new>

namespace orvan::worker {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kIsSanitized = false;
#endif

// What the operator that finds no memory has to tell; set before there is a second thread.
struct Teller {
  const ProgramChannel* channel = nullptr;
  const MemoryLimit* limit = nullptr;
  std::uint64_t limitBytes = 0;
};
Teller teller;

[[noreturn]] void EndForMemory(std::uint64_t residentBytes) {
  // Without asking for memory.
  protocol::FixedBytes<64> bytes;
  protocol::EncodeInto<protocol::FromWorker>(
      bytes, protocol::OutOfMemory{residentBytes, teller.limitBytes});
  teller.channel->Socket().Send(bytes.Bytes(), {}, true);
  Leave(protocol::kExitNoMemory);
}

}  // namespace

MemoryLimit::MemoryLimit(const ProgramChannel& channel, std::uint64_t limitBytes)
    : pages_(open("/proc/self/statm", O_RDONLY | O_CLOEXEC | O_NOFOLLOW)), limitBytes_(limitBytes) {
  teller = {&channel, this, limitBytes};
  if (limitBytes_ == 0) return;
  std::set_new_handler([] { EndForMemory(teller.limit->ResidentBytes()); });
  // The sanitizers' own tables are larger than any limit.
  if (kIsSanitized) return;
  const rlimit limit{limitBytes_, limitBytes_};
  setrlimit(RLIMIT_DATA, &limit);
}

std::uint64_t MemoryLimit::ResidentBytes() const {
  std::array<char, 128> text{};
  // Source: proc(5), /proc/pid/statm: size, resident, shared, ... in pages.
  const ssize_t got = pread(pages_.Get(), text.data(), text.size() - 1, 0);
  if (got <= 0) return 0;
  char* end = nullptr;
  std::strtoull(text.data(), &end, 10);
  const std::uint64_t pages = std::strtoull(end, nullptr, 10);
  return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

void MemoryLimit::Look() const {
  const std::uint64_t resident = limitBytes_ != 0 ? ResidentBytes() : 0;
  if (resident > limitBytes_) EndForMemory(resident);
}

}  // namespace orvan::worker
