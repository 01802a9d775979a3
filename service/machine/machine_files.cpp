#include "service/machine/machine_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>

#include "os/descriptor.h"
#include "os/folder_walk.h"

namespace orvan::machine {
namespace {

constexpr std::size_t kAttributeLimit = 4096;

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  while (begin < path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) parts.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

// That nothing is there is an answer.
int UnlessAbsent(int error) {
  return error == ENOENT || error == ENOTDIR ? 0 : error;
}

// Errors by which drivers say that a device has no such value, e.g. no page with a serial number.
bool SaysThatThereIsNone(int error) {
  return error == ENXIO || error == EINVAL || error == EOPNOTSUPP || error == ENODATA;
}

int& Cleared(int& error) {
  error = 0;
  return error;
}

}  // namespace

std::optional<std::string> MachineFiles::ReadBytes(const std::string& path, std::size_t limit,
                                                   int* error) const {
  int ignored = 0;
  return DoReadBytes(path, limit, Cleared(error != nullptr ? *error : ignored));
}

std::optional<std::string> MachineFiles::ReadLink(const std::string& path, int* error) const {
  int ignored = 0;
  return DoReadLink(path, Cleared(error != nullptr ? *error : ignored));
}

std::vector<std::string> MachineFiles::List(const std::string& path, int* error) const {
  int ignored = 0;
  return DoList(path, Cleared(error != nullptr ? *error : ignored));
}

bool MachineFiles::Exists(const std::string& path, int* error) const {
  int ignored = 0;
  return DoExists(path, Cleared(error != nullptr ? *error : ignored));
}

std::string MachineFiles::ReadText(const std::string& path) const {
  static constexpr std::string_view kPadding("\0 \t\r\n", 5);
  const std::string text = ReadBytes(path, kAttributeLimit).value_or(std::string());
  const std::size_t begin = text.find_first_not_of(kPadding);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kPadding) - begin + 1);
}

std::optional<std::uint64_t> MachineFiles::ReadNumber(const std::string& path) const {
  return ParseNumber(ReadText(path));
}

std::optional<std::uint64_t> MachineFiles::ParseNumber(const std::string& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  return value;
}

std::string MachineFiles::Resolve(const std::string& path, int* error) const {
  int ignored = 0;
  int& failure = Cleared(error != nullptr ? *error : ignored);
  std::vector<std::string> pending = Components(path);
  std::reverse(pending.begin(), pending.end());
  std::string resolved;
  int links = 0;
  while (!pending.empty()) {
    const std::string part = pending.back();
    pending.pop_back();
    if (part == ".") continue;
    if (part == "..") {
      resolved.erase(std::min(resolved.find_last_of('/'), resolved.size()));
      continue;
    }
    const std::string next = resolved + '/' + part;
    const std::optional<std::string> target = ReadLink(next, &failure);
    if (failure != 0) return {};
    if (!target) {
      resolved = next;
      continue;
    }
    if (++links > tarvex::kMostLinks) {
      failure = ELOOP;
      return {};
    }
    if (target->starts_with('/')) resolved.clear();
    const std::vector<std::string> parts = Components(*target);
    pending.insert(pending.end(), parts.rbegin(), parts.rend());
  }
  return resolved.empty() ? "/" : resolved;
}

LiveFiles::LiveFiles(std::string root) : root_(std::move(root)) {
  while (root_.ends_with('/')) root_.pop_back();
}

std::string LiveFiles::Below(const std::string& path) const {
  return root_ + path;
}

std::optional<std::string> LiveFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                  int& error) const {
  const std::string file = Below(Resolve(path, &error));
  if (error != 0) return {};
  const tarvex::Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!fd.IsOpen() || fstat(fd.Get(), &status) != 0) error = UnlessAbsent(errno);
  if (error != 0 || !S_ISREG(status.st_mode)) return {};
  std::string text;
  char buffer[kAttributeLimit];
  while (text.size() < limit) {
    const ssize_t got = read(fd.Get(), buffer, std::min(sizeof(buffer), limit - text.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      error = SaysThatThereIsNone(errno) ? 0 : errno;
      return {};
    }
    if (got == 0) break;
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

std::optional<std::string> LiveFiles::DoReadLink(const std::string& path, int& error) const {
  char target[PATH_MAX];
  const ssize_t size = readlink(Below(path).c_str(), target, sizeof(target));
  if (size < 0) error = errno == EINVAL ? 0 : UnlessAbsent(errno);  // EINVAL: no link
  if (static_cast<std::size_t>(size) == sizeof(target)) error = ENAMETOOLONG;
  if (size <= 0 || error != 0) return {};
  return std::string(target, static_cast<std::size_t>(size));
}

std::vector<std::string> LiveFiles::DoList(const std::string& path, int& error) const {
  const std::string resolved = Below(Resolve(path, &error));
  if (error != 0) return {};
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(resolved.c_str()), closedir);
  std::vector<std::string> names;
  if (!folder) {
    error = UnlessAbsent(errno);
    return names;
  }
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
    errno = 0;
  }
  // Half a list would be taken for the whole.
  error = errno;
  if (error != 0) return {};
  std::sort(names.begin(), names.end());
  return names;
}

bool LiveFiles::DoExists(const std::string& path, int& error) const {
  const std::string resolved = Below(Resolve(path, &error));
  if (error != 0) return false;
  struct stat status {};
  if (lstat(resolved.c_str(), &status) == 0) return true;
  error = UnlessAbsent(errno);
  return false;
}

}  // namespace orvan::machine
