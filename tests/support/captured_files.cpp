#include "tests/support/captured_files.h"

#include <algorithm>
#include <charconv>

namespace orvan::sdk::testing {
namespace {

std::string Parent(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
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

// 0 when it is none.
int ParseErrno(const std::string& text) {
  int error = 0;
  const char* end = text.data() + text.size();
  return std::from_chars(text.data(), end, error).ptr == end && error > 0 ? error : 0;
}

}  // namespace

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
    const int error = ParseErrno(content);
    if (line[0] == 'e' && error != 0) Add(path, {Kind::kUnreadable, {}, error});
    if (line[0] == 'b' && error != 0) Add(path, {Kind::kBlocked, {}, error});
  }
}

void CapturedFiles::Add(const std::string& path, Entry entry) {
  // A bare name never takes the place of an entry with content.
  if (entry.kind != Kind::kFolder || !entries_.contains(path)) entries_[path] = std::move(entry);
  for (std::string folder = Parent(path); !entries_.contains(folder); folder = Parent(folder)) {
    entries_[folder] = {};
  }
}

const CapturedFiles::Entry* CapturedFiles::Find(const std::string& resolvedPath) const {
  const auto found = entries_.find(resolvedPath);
  return found == entries_.end() ? nullptr : &found->second;
}

std::optional<std::string> CapturedFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                      int& error) const {
  const std::string resolved = Resolve(path, &error);
  const Entry* entry = error == 0 ? Find(resolved) : nullptr;
  if (entry != nullptr) error = entry->error;
  if (entry == nullptr || entry->kind != Kind::kFile) return {};
  return entry->content.substr(0, limit);
}

std::optional<std::string> CapturedFiles::DoReadLink(const std::string& path, int& error) const {
  const Entry* entry = Find(path);
  if (entry == nullptr) {
    // Only the last component is not followed.
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return {};
    const std::string folder = path.substr(0, slash);
    if (Find(folder) != nullptr && Find(folder)->kind == Kind::kFolder) return {};
    const std::string resolved = Resolve(folder, &error);
    if (resolved.empty() || resolved == folder) return {};
    entry = Find(resolved + path.substr(slash));
  }
  if (entry != nullptr && entry->kind == Kind::kBlocked) error = entry->error;
  if (entry == nullptr || entry->kind != Kind::kLink) return {};
  return entry->content;
}

std::vector<std::string> CapturedFiles::DoList(const std::string& path, int& error) const {
  const std::string resolved = Resolve(path, &error);
  const Entry* entry = error == 0 ? Find(resolved) : nullptr;
  if (entry != nullptr) error = entry->error;
  if (error != 0) return {};
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

bool CapturedFiles::DoExists(const std::string& path, int& error) const {
  const std::string resolved = Resolve(path, &error);
  return error == 0 && Find(resolved) != nullptr;
}

}  // namespace orvan::sdk::testing
