#include "os/folder_walk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace tarvex {
namespace {

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

// Puts the working folder's own path in front of a relative one. 0, or an errno value.
int MakeAbsolute(std::string& path) {
  if (path.empty()) return ENOENT;
  if (path[0] == '/') return 0;
  std::array<char, PATH_MAX> folder{};
  if (getcwd(folder.data(), folder.size()) == nullptr) return errno;
  path = std::string(folder.data()) + '/' + path;
  return path[0] == '/' ? 0 : ENOENT;  // "(unreachable)" in another root
}

}  // namespace

bool IsStrangers(const struct stat& status) {
  return status.st_uid != 0 && status.st_uid != geteuid();
}

std::string WriterFault(const struct stat& status) {
  if (IsStrangers(status)) return "belongs to another user";
  return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ? "can be written by others" : "";
}

int ReadLink(const Descriptor& link, std::string& target) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = readlinkat(link.Get(), "", text.data(), text.size());
  if (length < 0) return errno;
  target.assign(text.data(), static_cast<std::size_t>(length));
  return 0;
}

int FolderWalk::Go(const std::string& path) {
  rest_ = path;
  if (folders_ == Folders::kTrusted) {
    if (const int error = MakeAbsolute(rest_); error != 0) return error;
  }
  int error = Start(rest_);
  for (std::string name = TakeComponent(rest_); error == 0 && !name.empty();
       name = TakeComponent(rest_)) {
    error = Enter(name);
  }
  return error == 0 ? CheckAtTheEnd() : error;
}

int FolderWalk::Start(const std::string& path) {
  if (path.empty()) return ENOENT;
  where_.clear();
  return OpenPlace(AT_FDCWD, path[0] == '/' ? "/" : ".", folder_);
}

int FolderWalk::Enter(const std::string& name) {
  if (const int error = CheckOnTheWay(); error != 0) return error;
  Descriptor next;
  struct stat status {};
  if (const int error = OpenOrMake(name, next); error != 0) return error;
  if (fstat(next.Get(), &status) != 0) return errno;
  if (S_ISLNK(status.st_mode)) return IsStrangers(status) ? ELOOP : Follow(next);
  if (!S_ISDIR(status.st_mode)) return ENOTDIR;
  folder_ = std::move(next);
  NoteEntered(name);
  return 0;
}

bool FolderWalk::MayMake() const {
  const bool isOfALink = rest_.size() > behindLinks_;
  const bool isLast = rest_.find_first_not_of('/') == std::string::npos;
  return !isOfALink &&
         (missing_ == Missing::kAreMade || (missing_ == Missing::kLastIsMade && isLast));
}

int FolderWalk::OpenOrMake(const std::string& name, Descriptor& next) const {
  const int error = OpenPlace(folder_.Get(), name.c_str(), next);
  if (error != ENOENT || !MayMake()) return error;
  // Somebody else may make it first.
  if (mkdirat(folder_.Get(), name.c_str(), made_) != 0 && errno != EEXIST) return errno;
  return OpenPlace(folder_.Get(), name.c_str(), next);
}

int FolderWalk::Follow(const Descriptor& link) {
  if (++links_ > kMostLinks) return ELOOP;
  std::string target;
  if (const int error = ReadLink(link, target); error != 0) return error;
  behindLinks_ = std::min(behindLinks_, rest_.size());
  rest_ = target + "/" + rest_;
  return target[0] == '/' ? Start(target) : 0;
}

void FolderWalk::NoteEntered(const std::string& name) {
  if (name == ".") return;
  if (name == "..") {
    where_.erase(std::min(where_.rfind('/'), where_.size()));
  } else {
    where_ += '/' + name;
  }
}

// Who may rename a folder on the way decides what stands at its end.
int FolderWalk::CheckOnTheWay() {
  if (folders_ == Folders::kAny) return 0;
  struct stat status {};
  if (fstat(folder_.Get(), &status) != 0) return errno;
  if ((status.st_mode & S_ISVTX) != 0) status.st_mode &= ~static_cast<mode_t>(S_IWGRP | S_IWOTH);
  const std::string fault = WriterFault(status);
  if (fault.empty()) return 0;
  fault_ = "lies in " + (where_.empty() ? "/" : where_) + ", which " + fault;
  return EPERM;
}

int FolderWalk::CheckAtTheEnd() {
  if (folders_ == Folders::kAny) return 0;
  struct stat status {};
  if (fstat(folder_.Get(), &status) != 0) return errno;
  fault_ = WriterFault(status);
  return fault_.empty() ? 0 : EPERM;
}

}  // namespace tarvex
