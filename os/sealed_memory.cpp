#include "os/sealed_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tarvex {
namespace {

constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

}  // namespace

int MakeSealedMemory(std::span<const std::byte> content, Descriptor& memory) {
  Descriptor made(memfd_create("packet", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!made.IsOpen()) return errno;
  for (std::size_t done = 0; done < content.size();) {
    const ssize_t written = write(made.Get(), content.data() + done, content.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    done += static_cast<std::size_t>(written);
  }
  if (fcntl(made.Get(), F_ADD_SEALS, kSeals | F_SEAL_SEAL) != 0) return errno;
  memory = std::move(made);
  return 0;
}

bool ReadSealedMemory(const Descriptor& memory, std::size_t limit,
                      std::vector<std::byte>& content) {
  const int seals = fcntl(memory.Get(), F_GET_SEALS);
  struct stat status {};
  if (seals < 0 || (seals & kSeals) != kSeals || fstat(memory.Get(), &status) != 0) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return false;
  content.resize(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t got =
        pread(memory.Get(), content.data() + done, size - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace tarvex
