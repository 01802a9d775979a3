#include "system/trusted_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace tarvex {
namespace {

// As many as the kernel follows.
constexpr int kMostLinks = 40;
constexpr mode_t kFolderMode = 0755;

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

// Of an absolute path.
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsStrangers(const struct stat& status) {
  return status.st_uid != 0 && status.st_uid != geteuid();
}

std::string OwnerFault(const struct stat& status) {
  return IsStrangers(status) ? "belongs to another user" : "";
}

bool OthersMayWrite(const struct stat& status) {
  const bool groupIsOurs = status.st_gid == 0 || status.st_gid == getegid();
  return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && !groupIsOurs);
}

// Who may rename a folder on the way decides what stands at its end.
std::string FaultAbove(const std::string& path) {
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) {
    return ErrorText(errno);
  }
  std::string folder = resolved;
  while (folder != "/") {
    folder = FolderOf(folder);
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) {
      return "lies in " + folder + ": " + ErrorText(errno);
    }
    if (const std::string fault = OwnerFault(status); !fault.empty()) {
      return "lies in " + folder + ", which " + fault;
    }
    if (OthersMayWrite(status) && (status.st_mode & S_ISVTX) == 0) {
      return "lies in " + folder + ", which can be written by others";
    }
  }
  return {};
}

// Takes the first component of a path from it; empty when there is none.
std::string TakeComponent(std::string& path) {
  const std::size_t start = std::min(path.find_first_not_of('/'), path.size());
  const std::size_t end = std::min(path.find('/', start), path.size());
  std::string component = path.substr(start, end - start);
  path.erase(0, end);
  return component;
}

int OpenPlace(int folder, const char* name, Descriptor& place) {
  const int number = openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
  if (number < 0) return errno;
  place = Descriptor(number);
  return 0;
}

// The text of an open link.
int ReadLink(const Descriptor& link, std::string& target) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = readlinkat(link.Get(), "", text.data(), text.size());
  if (length < 0) return errno;
  target.assign(text.data(), static_cast<std::size_t>(length));
  return 0;
}

// Where a path starts.
int OpenStart(const std::string& path, Descriptor& place) {
  if (path.empty()) return ENOENT;
  return OpenPlace(AT_FDCWD, path[0] == '/' ? "/" : ".", place);
}

// What is missing on the way.
enum class Missing { kIsFault, kIsMade };

// Looks at each place before it goes on from there, so that nobody can slip in a link meanwhile.
class FolderWalk {
 public:
  explicit FolderWalk(Missing missing) : missing_(missing) {}
  int Go(const std::string& path) {
    rest_ = path;
    int error = OpenStart(path, folder_);
    for (std::string name = TakeComponent(rest_); error == 0 && !name.empty();
         name = TakeComponent(rest_)) {
      error = Enter(name);
    }
    return error;
  }
  Descriptor& Folder() { return folder_; }

 private:
  int Enter(const std::string& name) {
    Descriptor next;
    struct stat status {};
    if (const int error = OpenOrMake(name, next); error != 0) return error;
    if (fstat(next.Get(), &status) != 0) return errno;
    if (S_ISLNK(status.st_mode)) return IsStrangers(status) ? ELOOP : Follow(next);
    if (!S_ISDIR(status.st_mode)) return ENOTDIR;
    folder_ = std::move(next);
    return 0;
  }
  int OpenOrMake(const std::string& name, Descriptor& next) {
    const int error = OpenPlace(folder_.Get(), name.c_str(), next);
    const bool isOfALink = rest_.size() > behindLinks_;
    if (error != ENOENT || missing_ == Missing::kIsFault || isOfALink) return error;
    // Somebody else may make it first.
    if (mkdirat(folder_.Get(), name.c_str(), kFolderMode) != 0 && errno != EEXIST) return errno;
    return OpenPlace(folder_.Get(), name.c_str(), next);
  }
  int Follow(const Descriptor& link) {
    if (++links_ > kMostLinks) return ELOOP;
    std::string target;
    if (const int error = ReadLink(link, target); error != 0) return error;
    behindLinks_ = std::min(behindLinks_, rest_.size());
    rest_ = target + "/" + rest_;
    return target[0] == '/' ? OpenStart(target, folder_) : 0;
  }

  const Missing missing_;
  Descriptor folder_;
  std::string rest_;
  std::size_t behindLinks_ = std::string::npos;  // more in the rest is of the links followed so far
  int links_ = 0;
};

int WalkTo(const std::string& path, Missing missing, Descriptor& folder) {
  FolderWalk walk(missing);
  const int error = walk.Go(path);
  if (error == 0) folder = std::move(walk.Folder());
  return error;
}

}  // namespace

int OpenFolderOverOwnLinks(const std::string& path, Descriptor& folder) {
  return WalkTo(path, Missing::kIsFault, folder);
}

int MakeFolderOverOwnLinks(const std::string& path, Descriptor& folder) {
  return WalkTo(path, Missing::kIsMade, folder);
}

std::string TrustFault(const std::string& path, bool folder) {
  struct stat status {};
  // A folder may be reached over a link, as /lib is; what counts is where it leads.
  const int result = folder ? stat(path.c_str(), &status) : lstat(path.c_str(), &status);
  if (result != 0) {
    return ErrorText(errno);
  }
  if (folder ? !S_ISDIR(status.st_mode) : !S_ISREG(status.st_mode)) {
    return folder ? "is no folder" : "is no regular file";
  }
  if (std::string fault = OwnerFault(status); !fault.empty()) {
    return fault;
  }
  if (OthersMayWrite(status)) {
    return "can be written by others";
  }
  return folder ? FaultAbove(path) : std::string();
}

}  // namespace tarvex
