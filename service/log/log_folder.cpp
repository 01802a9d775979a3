#include "service/log/log_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "os/descriptor.h"
#include "os/folder_walk.h"
#include "os/regular_file.h"
#include "os/trusted_path.h"
#include "service/log/log_crash.h"

namespace orvan::log {
namespace {

using tarvex::Descriptor;

constexpr std::string_view kEnding = ".jsonl";
constexpr std::string_view kCrashedEnding = ".crashed.jsonl";
constexpr std::string_view kUnlockedEnding = ".unlocked.jsonl";

// Long enough for the end of a run, which is all that most logs are read for.
constexpr off_t kEndBytes = 4096;
// Long enough for the longest lines of a test.
constexpr off_t kTailBytes = 1 << 20;

// What a folder full of logs costs a run at most; what is left waits for the next one. A folder
// keeps fewer than these by itself.
constexpr std::size_t kMostNames = 20000;  // read of the folder
constexpr std::size_t kMostLogs = 500;     // looked into, the newest
constexpr std::size_t kMostTails = 16;     // read for what was running

struct Entry {
  std::string name;
  std::uint64_t bytes = 0;
};

bool TakeDigits(std::string_view& text, std::size_t least, std::size_t most) {
  std::size_t count = 0;
  while (count < text.size() && count < most && text[count] >= '0' && text[count] <= '9') {
    ++count;
  }
  text.remove_prefix(count);
  return count >= least;
}

bool TakeText(std::string_view& text, std::string_view wanted) {
  if (text.substr(0, wanted.size()) != wanted) return false;
  text.remove_prefix(wanted.size());
  return true;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

Descriptor OpenFolder(const std::string& folder) {
  Descriptor place;
  return tarvex::OpenFolderOverOwnLinks(folder, place) == 0
             ? Descriptor(openat(place.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
             : Descriptor();
}

// A file of a stranger, or one that has a second name, may hold anything, and is no log.
bool IsOurLog(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && !tarvex::IsStrangers(status);
}

// Our own logs in the folder, oldest first.
std::vector<Entry> LogsIn(const Descriptor& folder) {
  std::vector<Entry> logs;
  const int copy = fcntl(folder.Get(), F_DUPFD_CLOEXEC, 0);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(copy >= 0 ? fdopendir(copy) : nullptr, closedir);
  if (stream == nullptr) {
    Descriptor(copy).Close();
    return logs;
  }
  rewinddir(stream.get());  // the copy shares its place with the folder's descriptor
  std::size_t names = 0;
  for (const dirent* entry = nullptr;
       names < kMostNames && (entry = readdir(stream.get())) != nullptr; ++names) {
    struct stat status {};
    if (IsLogName(entry->d_name) &&
        fstatat(folder.Get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        IsOurLog(status)) {
      logs.push_back({entry->d_name, static_cast<std::uint64_t>(status.st_size)});
    }
  }
  std::sort(logs.begin(), logs.end(),
            [](const Entry& one, const Entry& other) { return one.name < other.name; });
  return logs;
}

// Our log, when no run holds it any more; while it is open, no other run takes it for its own, and
// the name is that of this file.
Descriptor OpenEnded(const Descriptor& folder, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  Descriptor file(openat(folder.Get(), name.c_str(), kFlags));
  struct stat status {};
  if (file.IsOpen() &&
      (fstat(file.Get(), &status) != 0 || !IsOurLog(status) ||
       flock(file.Get(), LOCK_EX | LOCK_NB) != 0 || !tarvex::IsNamed(folder, name, file))) {
    file.Reset();
  }
  return file;
}

std::string Tail(const Descriptor& file, off_t most) {
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
    return {};
  }
  const off_t from = std::max<off_t>(0, status.st_size - most);
  std::string text(static_cast<std::size_t>(status.st_size - from), '\0');
  const ssize_t count = pread(file.Get(), text.data(), text.size(), from);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace

bool IsLogName(std::string_view name) {
  const bool isOurs = TakeText(name, "tarvex-") && TakeDigits(name, 8, 8) && TakeText(name, "T") &&
                      TakeDigits(name, 6, 6) && TakeText(name, ".") && TakeDigits(name, 3, 3) &&
                      TakeText(name, "Z-") && TakeDigits(name, 1, 10);
  return isOurs && (name == kEnding || name == kCrashedEnding || name == kUnlockedEnding);
}

std::vector<UnfinishedLog> TakeUnfinishedLogs(const std::string& folder) {
  std::vector<UnfinishedLog> taken;
  const Descriptor place = OpenFolder(folder);
  if (!place.IsOpen()) return taken;
  const std::vector<Entry> logs = LogsIn(place);
  for (std::size_t at = logs.size() - std::min(logs.size(), kMostLogs);
       at < logs.size() && taken.size() < kMostTails; ++at) {
    const Entry& log = logs[at];
    // An empty one may be so new that its run has not locked it yet.
    if (log.bytes == 0 || EndsWith(log.name, kCrashedEnding) ||
        EndsWith(log.name, kUnlockedEnding)) {
      continue;
    }
    const Descriptor file = OpenEnded(place, log.name);
    const std::string end = Tail(file, kEndBytes);
    if (end.empty() || HasRunEnd(end)) continue;
    std::string tail = Tail(file, kTailBytes);
    const std::string stem = log.name.substr(0, log.name.size() - kEnding.size());
    const std::string name = stem + std::string(kCrashedEnding);
    if (renameat(place.Get(), log.name.c_str(), place.Get(), name.c_str()) == 0) {
      taken.push_back({name, std::move(tail)});
    }
  }
  return taken;
}

void PruneLogs(const std::string& folder, const LogLimits& limits, const std::string& own) {
  const Descriptor place = OpenFolder(folder);
  if (!place.IsOpen()) return;
  const std::vector<Entry> logs = LogsIn(place);
  std::size_t files = logs.size();
  std::uint64_t bytes = 0;
  for (const Entry& log : logs) {
    bytes += log.bytes;
  }
  for (const Entry& log : logs) {
    if (files <= limits.files && bytes <= limits.bytes) return;
    if (log.name != own && OpenEnded(place, log.name).IsOpen() &&
        unlinkat(place.Get(), log.name.c_str(), 0) == 0) {
      --files;
      bytes -= log.bytes;
    }
  }
}

}  // namespace orvan::log
