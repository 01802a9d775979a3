#include "os/only_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "os/descriptor_writer.h"
#include "os/regular_file.h"
#include "os/trusted_path.h"

namespace tarvex {
namespace {

// What is unfit isn't even opened, which can be an order to a device.
int FaultOf(const Descriptor& folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? 0 : errno;
  }
  if (S_ISLNK(status.st_mode)) return ELOOP;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  return status.st_nlink == 1 ? 0 : EMLINK;
}

int FlagsOf(OnlyFile::Access access) {
  return access == OnlyFile::Access::kWrite ? O_WRONLY : O_RDWR | O_APPEND;
}

// Goes down from an open folder, one component after the other. 0, or an errno value.
int GoDown(Descriptor& folder, std::string_view path) {
  while (!path.empty()) {
    const std::string name(path.substr(0, path.find('/')));
    path.remove_prefix(std::min(name.size() + 1, path.size()));
    if (name.empty()) continue;
    if (name == "..") return EINVAL;
    const int next =
        openat(folder.Get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (next < 0) return errno;
    folder.Reset(next);
  }
  return 0;
}

}  // namespace

int OnlyFile::OpenBelow(const std::string& folder, const std::string& path, Access access,
                        mode_t mode) {
  const std::size_t nameStart = path.rfind('/') + 1;
  const std::string name = path.substr(nameStart);
  if (path[0] == '/' || name.empty() || name == "..") return EINVAL;
  Descriptor place;
  int error = OpenFolderOverOwnLinks(folder, place);
  if (error == 0) error = GoDown(place, std::string_view(path).substr(0, nameStart));
  return error == 0 ? OpenIn(std::move(place), name, access, mode) : error;
}

int OnlyFile::Open(const std::string& path, Access access, mode_t mode) {
  const std::size_t nameStart = path.rfind('/') + 1;  // 0 for a bare name
  Descriptor folder;
  const int error =
      OpenFolderOverOwnLinks(nameStart == 0 ? "." : path.substr(0, nameStart), folder);
  return error == 0 ? OpenIn(std::move(folder), path.substr(nameStart), access, mode) : error;
}

int OnlyFile::OpenIn(Descriptor folder, const std::string& name, Access access, mode_t mode) {
  constexpr int kAlways = O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  if (const int error = FaultOf(folder, name); error != 0) return error;
  OnlyFile opened;
  opened.file_.Reset(openat(folder.Get(), name.c_str(), kAlways | FlagsOf(access), mode));
  if (!opened.IsOpen()) return errno;
  opened.folder_ = std::move(folder);
  opened.name_ = name;
  if (!opened.MayBeWritten()) return EMLINK;
  *this = std::move(opened);
  return 0;
}

bool OnlyFile::MayBeWritten() const {
  return IsOnlyName(folder_, name_, file_);
}

int OnlyFile::Empty() const {
  if (!MayBeWritten()) return EMLINK;
  return ftruncate(file_.Get(), 0) == 0 ? 0 : errno;
}

int OnlyFile::Write(std::string_view bytes) {
  isBegun_ = isBegun_ || MayBeWritten();
  return isBegun_ ? WriteAll(file_.Get(), bytes.data(), bytes.size()) : EMLINK;
}

}  // namespace tarvex
