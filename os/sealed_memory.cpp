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

namespace {

// False when it can be changed, or is larger than `limit`.
bool IsSealed(const Descriptor& memory, std::size_t limit, std::size_t& size) {
  const int seals = fcntl(memory.Get(), F_GET_SEALS);
  struct stat status {};
  if (seals < 0 || (seals & kSeals) != kSeals || fstat(memory.Get(), &status) != 0) return false;
  size = static_cast<std::size_t>(status.st_size);
  return size <= limit;
}

}  // namespace

bool ReadSealedMemory(const Descriptor& memory, std::size_t limit,
                      std::vector<std::byte>& content) {
  std::size_t size = 0;
  if (!IsSealed(memory, limit, size)) return false;
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

std::shared_ptr<const std::span<const std::byte>> MapSealedMemory(const Descriptor& memory,
                                                                  std::size_t limit) {
  using View = std::span<const std::byte>;
  std::size_t size = 0;
  if (!IsSealed(memory, limit, size)) return nullptr;
  if (size == 0) return std::make_shared<const View>();
  void* const at = mmap(nullptr, size, PROT_READ, MAP_SHARED, memory.Get(), 0);
  if (at == MAP_FAILED) return nullptr;
  return {new View(static_cast<const std::byte*>(at), size), [](const View* view) {
            munmap(const_cast<std::byte*>(view->data()), view->size());
            delete view;
          }};
}

}  // namespace tarvex
