#include "os/trusted_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "os/folder_walk.h"
#include "os/regular_file.h"

namespace tarvex {
namespace {

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

std::string FaultOf(int error, const FolderWalk& walk) {
  switch (error) {
    case 0:
      return {};
    case EPERM:
      if (!walk.Fault().empty()) return walk.Fault();
      break;
    case ELOOP:
      return "is reached over a link of another user, or over too many";
    case ENOTDIR:
      return "is no folder";
    default:
      break;
  }
  return ErrorText(error);
}

std::string WalkTo(const std::string& path, FolderWalk::Missing missing, Descriptor& folder,
                   int& error) {
  FolderWalk walk(missing, FolderWalk::Folders::kTrusted);
  error = walk.Go(path);
  if (error == 0) folder = std::move(walk.Folder());
  return FaultOf(error, walk);
}

// A file's place, in pieces.
struct Place {
  std::string folder;  // with its separator; "./" for a bare name
  std::string name;
};

Place PlaceOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {"./", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// What stands at a place: a link that leads on, something else, or nothing.
struct Found {
  std::string fault;
  std::string target;
  bool isMissing = false;
};

Found LookAt(const Descriptor& folder, const std::string& name) {
  const Descriptor link(openat(folder.Get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!link.IsOpen()) return {{}, {}, errno == ENOENT};
  struct stat status {};
  if (fstat(link.Get(), &status) != 0 || !S_ISLNK(status.st_mode)) return {};
  if (IsStrangers(status)) return {"is a link of another user", {}, false};
  std::string target;
  const int error = ReadLink(link, target);
  return {error == 0 ? std::string() : ErrorText(error), target, false};
}

// Goes over links at the path's end to the folder and the name of what is no link.
Found OpenPlace(const std::string& path, Descriptor& folder, std::string& name) {
  Place place = PlaceOf(path);
  for (int links = 0; links <= kMostLinks; ++links) {
    int error = 0;
    const std::string fault = WalkTo(place.folder, FolderWalk::Missing::kIsFault, folder, error);
    if (!fault.empty()) return {fault, {}, error == ENOENT};
    Found found = LookAt(folder, place.name);
    if (found.target.empty()) {
      name = place.name;
      return found;
    }
    place = PlaceOf(found.target[0] == '/' ? found.target : place.folder + found.target);
  }
  return {"is reached over too many links", {}, false};
}

}  // namespace

std::string OpenTrustedFolder(const std::string& path, Descriptor& folder) {
  int error = 0;
  return WalkTo(path, FolderWalk::Missing::kIsFault, folder, error);
}

std::string MakeTrustedFolder(const std::string& path, Descriptor& folder) {
  int error = 0;
  return WalkTo(path, FolderWalk::Missing::kLastIsMade, folder, error);
}

std::string MakePrivateFolder(const std::string& path, Descriptor& folder) {
  FolderWalk walk(FolderWalk::Missing::kLastIsMade, FolderWalk::Folders::kTrusted, S_IRWXU);
  if (const int error = walk.Go(path); error != 0) return FaultOf(error, walk);
  Descriptor opened(openat(walk.Folder().Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat status {};
  if (!opened.IsOpen() || fstat(opened.Get(), &status) != 0) return ErrorText(errno);
  constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
  if ((status.st_mode & kOthers) != 0 && fchmod(opened.Get(), status.st_mode & S_IRWXU) != 0) {
    return "is open to others: " + ErrorText(errno);
  }
  folder = std::move(opened);
  return {};
}

std::string OpenTrustedFile(const Descriptor& folder, const std::string& name, Descriptor& file) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  Descriptor opened(openat(folder.Get(), name.c_str(), kFlags));
  struct stat status {};
  if (!opened.IsOpen() || fstat(opened.Get(), &status) != 0) {
    return errno == ELOOP ? "is no regular file" : ErrorText(errno);
  }
  if (!S_ISREG(status.st_mode)) return "is no regular file";
  std::string fault = WriterFault(status);
  if (fault.empty()) file = std::move(opened);
  return fault;
}

std::string ReadTrustedFile(const std::string& path, std::size_t limit, std::string& text) {
  Descriptor folder;
  Descriptor file;
  std::string name;
  const Found found = OpenPlace(path, folder, name);
  if (found.isMissing) {
    text.clear();
    return {};
  }
  if (!found.fault.empty()) return found.fault;
  if (std::string fault = OpenTrustedFile(folder, name, file); !fault.empty()) return fault;
  std::string content;
  if (!ReadUpTo(file, limit + 1, content)) return "cannot be read";
  if (content.size() > limit) return "is larger than " + std::to_string(limit) + " bytes";
  text = std::move(content);
  return {};
}

}  // namespace tarvex
