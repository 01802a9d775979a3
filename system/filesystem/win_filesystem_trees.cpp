#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "os/descriptor.h"
#include "os/trusted_path.h"
#include "system/filesystem/win_filesystem.h"
#include "system/system_path.h"
#include "system/text_conversion.h"

namespace {

// A prefix of this many characters is too long to create.
constexpr std::size_t kPrefixLimit = 260;
constexpr mode_t kDirectoryMode = 0755;

struct DirectoryClose {
  void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryClose>;

// Appends the names of all entries but "." and "..". False when reading fails.
bool ReadNames(DIR* directory, std::vector<std::string>& names) {
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(directory);
    if (entry == nullptr) return errno == 0;
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
      names.emplace_back(entry->d_name);
    }
  }
}

// "*" stands for any characters, "?" for exactly one.
bool MatchesPattern(std::wstring_view name, std::wstring_view pattern) {
  std::size_t at = 0;
  std::size_t in = 0;
  std::size_t star = std::wstring_view::npos;
  std::size_t starAt = 0;
  while (at < name.size()) {
    if (in < pattern.size() && pattern[in] == L'*') {
      star = in++;
      starAt = at;
    } else if (in < pattern.size() && (pattern[in] == L'?' || pattern[in] == name[at])) {
      ++in;
      ++at;
    } else if (star != std::wstring_view::npos) {
      in = star + 1;
      at = ++starAt;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(L'*', in) == std::wstring_view::npos;
}

bool IsDirectory(const std::string& systemPath) {
  struct stat status {};
  return stat(systemPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Nothing may be made where somebody else decides the place.
bool LeadsOverStrangersLink(const std::string& systemPath) {
  tarvex::Descriptor ignored;
  return tarvex::OpenFolderOverOwnLinks(systemPath, ignored) == ELOOP;
}

// The directories that a call made, in their order.
class MadeDirectories {
 public:
  // 0, or an errno value. The parent is held open from its check on, so that nobody can put a link
  // in the way meanwhile.
  int Make(const std::string& systemPath) {
    const std::size_t slash = systemPath.rfind('/');
    Entry entry;
    if (slash == std::string::npos) return ENOENT;
    entry.name = systemPath.substr(slash + 1);
    const std::string parent = systemPath.substr(0, slash + 1);
    if (const int error = tarvex::OpenFolderOverOwnLinks(parent, entry.parent); error != 0) {
      return error;
    }
    if (mkdirat(entry.parent.Get(), entry.name.c_str(), kDirectoryMode) != 0) return errno;
    entries_.push_back(std::move(entry));
    return 0;
  }
  // Removes them again, the newest first.
  void Remove() const {
    std::for_each(entries_.rbegin(), entries_.rend(), [](const Entry& entry) {
      unlinkat(entry.parent.Get(), entry.name.c_str(), AT_REMOVEDIR);
    });
  }

 private:
  struct Entry {
    tarvex::Descriptor parent;
    std::string name;
  };
  std::vector<Entry> entries_;
};

// Creates one directory of a chain; true when the walk may go on. A new one is noted.
bool MakePrefix(std::string_view prefix, MadeDirectories& made) {
  if (prefix.empty()) return true;
  if (tarvex::PathLength(prefix) >= kPrefixLimit) return false;
  const std::string path = tarvex::ToSystemPath(prefix);
  if (LeadsOverStrangersLink(path)) return false;
  const int error = made.Make(path);
  return error == 0 || error == EEXIST || error == EACCES || error == EPERM || IsDirectory(path);
}

// Creates every prefix of a path that ends in a separator, or leaves none that it made.
bool MakePrefixes(std::string_view path) {
  MadeDirectories made;
  for (std::size_t at = path.find_first_of(tarvex::kSeparators); at != std::string_view::npos;
       at = path.find_first_of(tarvex::kSeparators, at + 1)) {
    if (MakePrefix(path.substr(0, at), made)) continue;
    made.Remove();
    return false;
  }
  return true;
}

// Which mount a file lies on. A tree is removed on its own mount only.
struct Mount {
  std::uint64_t id = 0;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  bool operator==(const Mount&) const = default;
};

Mount MountOf(int descriptor) {
  struct statx status {};
  if (statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) != 0) return {};
  return {(status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0, status.stx_dev_major,
          status.stx_dev_minor};
}

tarvex::Descriptor OpenDirectory(int parent, const char* name) {
  return tarvex::Descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool ListDirectory(int descriptor, std::vector<std::string>& names) {
  // A descriptor of its own, as closing the listing closes it.
  const int listed = openat(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const Directory directory(listed < 0 ? nullptr : fdopendir(listed));
  if (directory == nullptr && listed >= 0) close(listed);
  return directory != nullptr && ReadNames(directory.get(), names);
}

int RemoveTree(int parent, const char* name, const Mount& mount);

// 0, or 1 when the entry could not be deleted.
int RemoveEntry(int parent, const char* name, const Mount& mount) {
  struct stat status {};
  if (fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return 1;
  if (S_ISDIR(status.st_mode)) return RemoveTree(parent, name, mount);
  return unlinkat(parent, name, 0) == 0 ? 0 : 1;
}

int RemoveTree(int parent, const char* name, const Mount& mount) {
  const tarvex::Descriptor directory = OpenDirectory(parent, name);
  // What can't be listed is left alone, and its parent fails in its turn.
  if (!directory.IsOpen()) return 0;
  // Another mount is removed as an empty directory would be, without going into it.
  if (MountOf(directory.Get()) == mount) {
    std::vector<std::string> names;
    if (!ListDirectory(directory.Get(), names)) return 0;
    for (const std::string& entry : names) {
      if (RemoveEntry(directory.Get(), entry.c_str(), mount) != 0) return 1;
    }
  }
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 ? 0 : 1;
}

}  // namespace

int WinFilesystem::ListFiles(const std::string& pattern, std::vector<std::string>& names) {
  // Gathered apart, as the pattern may be one of the names.
  std::vector<std::string> found;
  bool whole = false;
  if (!pattern.empty()) {
    const std::size_t last = pattern.find_last_of(tarvex::kSeparators);
    const std::string folder = last == std::string::npos ? "" : pattern.substr(0, last + 1);
    const std::wstring form =
        tarvex::Utf8ToWideLenient(std::string_view(pattern).substr(folder.size()));
    const std::string place = folder.empty() ? "." : tarvex::ToSystemPath(folder);
    const Directory directory(opendir(place.c_str()));
    std::vector<std::string> entries;
    whole = directory != nullptr && ReadNames(directory.get(), entries);
    std::sort(entries.begin(), entries.end());
    for (const std::string& entry : entries) {
      if (MatchesPattern(tarvex::Utf8ToWideLenient(entry), form)) found.push_back(folder + entry);
    }
  }
  names = std::move(found);
  return whole && !names.empty() ? 0 : 1;
}

int WinFilesystem::CreateDirectoryTree(const std::string& path, std::string& result) {
  if (path.empty()) return 0;
  std::string full(path);
  if (!tarvex::IsAbsolutePath(full)) {
    const char* const base = GetExecutableDirectory();
    if (base == nullptr) return 1;
    full = std::string(base) + "\\" + full;
  }
  if (!tarvex::IsSeparator(full.back())) full += '\\';
  const bool made = MakePrefixes(full);
  result = full;
  return made ? 0 : 1;
}

int WinFilesystem::RemoveDirectoryTree(const std::string& path) {
  std::string top = tarvex::ToSystemPath(path);
  if (top.empty()) return 0;
  // A separator at the end would follow a link. The root is never removed.
  top.erase(top.find_last_not_of('/') + 1);
  if (top.empty()) return 1;
  const tarvex::Descriptor directory = OpenDirectory(AT_FDCWD, top.c_str());
  if (!directory.IsOpen()) return 0;
  return RemoveTree(AT_FDCWD, top.c_str(), MountOf(directory.Get()));
}
