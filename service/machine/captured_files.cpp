#include <algorithm>
#include <charconv>

#include "service/machine/machine_files.h"

namespace orvan::machine {
namespace {

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

RecordingFiles::RecordingFiles(const MachineFiles& inner) : inner_(inner) {}

void RecordingFiles::Note(const std::string& path, char kind, const std::string& content) const {
  auto& note = notes_.try_emplace(path, kind, content).first->second;
  // What is known better, or read further, stays.
  const auto rank = [](char of) { return of == 'd' ? 0 : of == 'e' || of == 'b' ? 1 : 2; };
  if (rank(note.first) < rank(kind) ||
      (note.first == kind && note.second.size() < content.size())) {
    note = {kind, content};
  }
}

void RecordingFiles::NoteError(const std::string& path, char kind, int error) const {
  if (error != 0) Note(path, kind, std::to_string(error));
}

std::optional<std::string> RecordingFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                       int& error) const {
  const std::string resolved = Resolve(path, &error);
  if (error != 0) return {};
  std::optional<std::string> bytes = inner_.ReadBytes(resolved, limit, &error);
  NoteError(resolved, 'e', error);
  if (bytes) Note(resolved, 'f', *bytes);
  return bytes;
}

std::optional<std::string> RecordingFiles::DoReadLink(const std::string& path, int& error) const {
  std::optional<std::string> target = inner_.ReadLink(path, &error);
  NoteError(path, 'b', error);
  if (target) Note(path, 'l', *target);
  return target;
}

std::vector<std::string> RecordingFiles::DoList(const std::string& path, int& error) const {
  const std::string resolved = Resolve(path, &error);
  if (error != 0) return {};
  std::vector<std::string> names = inner_.List(resolved, &error);
  NoteError(resolved, 'e', error);
  for (const std::string& name : names) {
    const std::string child = (resolved == "/" ? "" : resolved) + '/' + name;
    if (!ReadLink(child)) Note(child, 'd', {});
  }
  return names;
}

bool RecordingFiles::DoExists(const std::string& path, int& error) const {
  const std::string resolved = Resolve(path, &error);
  if (error != 0) return false;
  const bool exists = inner_.Exists(resolved, &error);
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

}  // namespace orvan::machine
