#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <memory>
#include <utility>

#include "os/descriptor.h"
#include "system/filesystem/scratch_file.h"
#include "system/filesystem/win_filesystem.h"
#include "system/system_path.h"

namespace {

using tarvex::Descriptor;

constexpr mode_t kScratchMode = 0600;
constexpr int kScratchFlags = O_RDWR | O_DSYNC | O_CLOEXEC | O_NOFOLLOW;

bool TakeForOneself(const Descriptor& file) {
  return flock(file.Get(), LOCK_EX | LOCK_NB) == 0;
}

// Deletes what stands at the path: only a regular file that nobody holds. A file that is replaced
// is never written into, since it may have other names.
bool ClearPlace(const std::string& path) {
  const Descriptor old(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!old.IsOpen()) return errno == ENOENT;
  struct stat status {};
  return fstat(old.Get(), &status) == 0 && S_ISREG(status.st_mode) && TakeForOneself(old) &&
         unlink(path.c_str()) == 0;
}

// A file without a name from its beginning, so that nothing is left of it even after a crash.
Descriptor CreateNameless(const std::string& path) {
  const std::size_t last = path.rfind('/');
  const std::string folder = last == std::string::npos ? "." : path.substr(0, last + 1);
  return Descriptor(open(folder.c_str(), kScratchFlags | O_TMPFILE | O_EXCL, kScratchMode));
}

Descriptor CreateNamed(const std::string& path) {
  return Descriptor(open(path.c_str(), kScratchFlags | O_CREAT | O_EXCL, kScratchMode));
}

Descriptor CreateFile(const std::string& path, bool deleteOnClose) {
  if (deleteOnClose) {
    Descriptor nameless = CreateNameless(path);
    if (nameless.IsOpen()) return nameless;
  }
  // Where a file can't be without a name, it loses it at once.
  Descriptor named = CreateNamed(path);
  if (named.IsOpen() && deleteOnClose && unlink(path.c_str()) != 0) return Descriptor();
  return named;
}

// Some filesystems have no unbuffered transfers; their transfers are buffered then.
void MakeUnbuffered(const Descriptor& file) {
  const int flags = fcntl(file.Get(), F_GETFL);
  if (flags >= 0) fcntl(file.Get(), F_SETFL, flags | O_DIRECT);
}

}  // namespace

int WinFilesystem::CreateScratchFile(const std::string& path, FileHandle* handle,
                                     bool deleteOnClose) {
  if (handle == nullptr) return 1;
  *handle = nullptr;
  const std::string place = tarvex::ToSystemPath(path);
  if (place.empty() || place.back() == '/' || !ClearPlace(place)) return 1;
  Descriptor file = CreateFile(place, deleteOnClose);
  if (!file.IsOpen() || !TakeForOneself(file)) return 1;
  MakeUnbuffered(file);
  auto scratch = std::make_unique<ScratchFile>();
  scratch->descriptor = std::move(file);
  *handle = scratch.release();
  return 0;
}

int WinFilesystem::CloseFile(FileHandle handle) {
  const std::unique_ptr<ScratchFile> file(handle);
  return file != nullptr && file->descriptor.Close() == 0 ? 0 : 1;
}

int WinFilesystem::ResizeFile(FileHandle handle, std::uint64_t size) {
  // What lies between the old end and the new one is a hole; that is all there is to being sparse.
  if (handle == nullptr || size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return 1;
  }
  return ftruncate(handle->descriptor.Get(), static_cast<off_t>(size)) == 0 ? 0 : 1;
}

int WinFilesystem::WriteFileAt(FileHandle handle, std::uint64_t offset, std::size_t size,
                               std::size_t* done, unsigned timeoutSeconds, const void* buffer) {
  std::size_t moved = 0;
  const int result = handle == nullptr || (buffer == nullptr && size > 0)
                         ? kTransferNotStarted
                         : handle->Write(offset, size, moved, timeoutSeconds, buffer);
  if (done != nullptr) *done = moved;
  return result;
}

int WinFilesystem::ReadFileAt(FileHandle handle, std::uint64_t offset, std::size_t size,
                              std::size_t* done, unsigned timeoutSeconds, void* buffer) {
  std::size_t moved = 0;
  const int result = handle == nullptr || (buffer == nullptr && size > 0)
                         ? kTransferNotStarted
                         : handle->Read(offset, size, moved, timeoutSeconds, buffer);
  if (done != nullptr) *done = moved;
  return result;
}
