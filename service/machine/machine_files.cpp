#include "service/machine/machine_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>

#include "service/machine/file_descriptor.h"

namespace orvan::machine {
namespace {

constexpr std::size_t kAttributeLimit = 4096;
constexpr int kMostLinks = 40;

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

std::string Parent(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

std::string Escaped(const std::string& text, bool blanksToo) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7E || c == '\\' || (blanksToo && c == ' ')) {
      out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      out += c;
    }
  }
  return out;
}

std::string Unescaped(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    const char* digits = text.data() + i + 2;
    if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' &&
        std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      out += static_cast<char>(value);
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

}  // namespace

std::string MachineFiles::ReadText(const std::string& path) const {
  static constexpr std::string_view kPadding("\0 \t\r\n", 5);
  const std::string text = ReadBytes(path, kAttributeLimit).value_or(std::string());
  const std::size_t begin = text.find_first_not_of(kPadding);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kPadding) - begin + 1);
}

std::optional<std::uint64_t> MachineFiles::ReadNumber(const std::string& path) const {
  const std::string text = ReadText(path);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  return value;
}

std::string MachineFiles::Resolve(const std::string& path) const {
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
    const std::optional<std::string> target = ReadLink(next);
    if (!target) {
      resolved = next;
      continue;
    }
    if (++links > kMostLinks) return {};
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

std::optional<std::string> LiveFiles::ReadBytes(const std::string& path, std::size_t limit) const {
  const std::string file = Below(Resolve(path));
  const FileDescriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!fd || fstat(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  std::string text;
  char buffer[kAttributeLimit];
  while (text.size() < limit) {
    const ssize_t got = read(fd.Get(), buffer, std::min(sizeof(buffer), limit - text.size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return {};
    if (got == 0) break;
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

std::optional<std::string> LiveFiles::ReadLink(const std::string& path) const {
  char target[PATH_MAX];
  const ssize_t size = readlink(Below(path).c_str(), target, sizeof(target));
  if (size <= 0 || static_cast<std::size_t>(size) == sizeof(target)) return {};
  return std::string(target, static_cast<std::size_t>(size));
}

std::vector<std::string> LiveFiles::List(const std::string& path) const {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(Below(Resolve(path)).c_str()), closedir);
  std::vector<std::string> names;
  if (!folder) return names;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool LiveFiles::Exists(const std::string& path) const {
  struct stat status {};
  return lstat(Below(Resolve(path)).c_str(), &status) == 0;
}

CapturedFiles::CapturedFiles(const std::string& text) {
  entries_["/"] = {};
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    begin = end + 1;
    if (line.size() < 4 || line[1] != ' ' || line[2] != '/') continue;
    const std::size_t blank = line.find(' ', 2);
    const std::string path =
        Unescaped(line.substr(2, blank == std::string::npos ? blank : blank - 2));
    const std::string content =
        blank == std::string::npos ? std::string() : Unescaped(line.substr(blank + 1));
    if (line[0] == 'f') Add(path, {Kind::kFile, content});
    if (line[0] == 'l') Add(path, {Kind::kLink, content});
    if (line[0] == 'd') Add(path, {Kind::kFolder, {}});
  }
}

void CapturedFiles::Add(const std::string& path, Entry entry) {
  // A bare name never takes the place of an entry with content.
  if (entry.kind != Kind::kFolder || !entries_.contains(path)) {
    entries_[path] = std::move(entry);
  }
  for (std::string folder = Parent(path); !entries_.contains(folder); folder = Parent(folder)) {
    entries_[folder] = {};
  }
}

const CapturedFiles::Entry* CapturedFiles::Find(const std::string& resolvedPath) const {
  const auto found = entries_.find(resolvedPath);
  return found == entries_.end() ? nullptr : &found->second;
}

std::optional<std::string> CapturedFiles::ReadBytes(const std::string& path,
                                                    std::size_t limit) const {
  const Entry* entry = Find(Resolve(path));
  if (entry == nullptr || entry->kind != Kind::kFile) return {};
  return entry->content.substr(0, limit);
}

std::optional<std::string> CapturedFiles::ReadLink(const std::string& path) const {
  const Entry* entry = Find(path);
  if (entry == nullptr) {
    // Only the last component is not followed.
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return {};
    const std::string folder = path.substr(0, slash);
    if (Find(folder) != nullptr && Find(folder)->kind == Kind::kFolder) return {};
    const std::string resolved = Resolve(folder);
    if (resolved.empty() || resolved == folder) return {};
    entry = Find(resolved + path.substr(slash));
  }
  if (entry == nullptr || entry->kind != Kind::kLink) return {};
  return entry->content;
}

std::vector<std::string> CapturedFiles::List(const std::string& path) const {
  const std::string resolved = Resolve(path);
  const std::string folder = resolved == "/" ? resolved : resolved + '/';
  std::vector<std::string> names;
  for (auto at = entries_.lower_bound(folder); at != entries_.end(); ++at) {
    if (!at->first.starts_with(folder)) break;
    const std::string name = at->first.substr(folder.size());
    if (!name.empty() && name.find('/') == std::string::npos) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool CapturedFiles::Exists(const std::string& path) const {
  return Find(Resolve(path)) != nullptr;
}

RecordingFiles::RecordingFiles(const MachineFiles& inner) : inner_(inner) {}

void RecordingFiles::Note(const std::string& path, char kind, const std::string& content) const {
  auto& note = notes_.try_emplace(path, kind, content).first->second;
  // What is known better, or read further, stays.
  if (note.first == 'd' || note.second.size() < content.size()) note = {kind, content};
}

std::optional<std::string> RecordingFiles::ReadBytes(const std::string& path,
                                                     std::size_t limit) const {
  const std::string resolved = Resolve(path);
  std::optional<std::string> bytes = inner_.ReadBytes(resolved, limit);
  if (bytes) Note(resolved, 'f', *bytes);
  return bytes;
}

std::optional<std::string> RecordingFiles::ReadLink(const std::string& path) const {
  std::optional<std::string> target = inner_.ReadLink(path);
  if (target) Note(path, 'l', *target);
  return target;
}

std::vector<std::string> RecordingFiles::List(const std::string& path) const {
  const std::string resolved = Resolve(path);
  std::vector<std::string> names = inner_.List(resolved);
  for (const std::string& name : names) {
    const std::string child = (resolved == "/" ? "" : resolved) + '/' + name;
    if (!ReadLink(child)) Note(child, 'd', {});
  }
  return names;
}

bool RecordingFiles::Exists(const std::string& path) const {
  const std::string resolved = Resolve(path);
  const bool exists = inner_.Exists(resolved);
  if (exists) Note(resolved, 'd', {});
  return exists;
}

std::string RecordingFiles::Text() const {
  std::string text;
  for (const auto& [path, note] : notes_) {
    text += note.first + std::string(" ") + Escaped(path, true);
    if (note.first != 'd') text += ' ' + Escaped(note.second, false);
    text += '\n';
  }
  return text;
}

int WriteCapture(const std::string& path, const std::string& text) {
  const FileDescriptor fd(
      open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  struct stat status {};
  if (!fd || fstat(fd.Get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  // It names serial numbers; an older file of that name may have been open to all.
  if (fchmod(fd.Get(), 0600) != 0) return errno;
  if (ftruncate(fd.Get(), 0) != 0) return errno;
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t put = write(fd.Get(), text.data() + done, text.size() - done);
    if (put < 0 && errno != EINTR) return errno;
    if (put > 0) done += static_cast<std::size_t>(put);
  }
  return 0;
}

}  // namespace orvan::machine
