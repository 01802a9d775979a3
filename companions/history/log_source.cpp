#include "companions/history/log_source.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "companions/history/log_json.h"
#include "os/descriptor.h"

namespace tarvex::history {
namespace {

constexpr std::string_view kEnding = ".jsonl";
constexpr std::string_view kCrashed = ".crashed";
constexpr std::string_view kUnlocked = ".unlocked";
// A fleet's logs lie in folders of machines, perhaps of sites.
constexpr int kDeepest = 4;

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// What is no log, or empty.
std::string WhyNoFile(const struct stat& status) {
  if (S_ISLNK(status.st_mode)) return "is a link";
  if (!S_ISREG(status.st_mode)) return "is no regular file";
  return {};
}

class Lister {
 public:
  Lister(std::vector<LogPlace>& logs, std::vector<PassedOver>& passedOver)
      : logs_(logs), passedOver_(passedOver) {}

  void Folder(Descriptor folder, const std::string& path, int depth) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        folder.IsOpen() ? fdopendir(folder.Get()) : nullptr, closedir);
    if (stream == nullptr) {
      passedOver_.push_back({path, std::strerror(errno)});
      return;
    }
    folder.Release();
    while (const dirent* entry = readdir(stream.get())) {
      if (entry->d_name[0] != '.') Entry(dirfd(stream.get()), path, entry->d_name, depth);
    }
  }

 private:
  void Entry(int folder, const std::string& path, const char* name, int depth) {
    const std::string place = path + '/' + name;
    struct stat status {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;  // gone meanwhile
    if (S_ISDIR(status.st_mode)) {
      constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
      if (depth > 0) Folder(Descriptor(openat(folder, name, kFlags)), place, depth - 1);
    } else if (EndsWith(name, kEnding)) {
      const std::string why = WhyNoFile(status);
      if (!why.empty()) {
        passedOver_.push_back({place, why});
        return;
      }
      constexpr std::int64_t kNsPerSecond = 1000000000;
      logs_.push_back({place, static_cast<std::uint64_t>(status.st_size),
                       status.st_mtim.tv_sec * kNsPerSecond + status.st_mtim.tv_nsec,
                       status.st_ino});
    }
  }

  std::vector<LogPlace>& logs_;
  std::vector<PassedOver>& passedOver_;
};

// All of the file, up to the longest log; false when reading fails.
bool ReadAll(const Descriptor& file, std::size_t size, std::string& text) {
  text.clear();
  text.reserve(size + kRoomBehind);
  text.resize(size);
  std::size_t count = 0;
  while (count < size) {
    const ssize_t got =
        pread(file.Get(), text.data() + count, size - count, static_cast<off_t>(count));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    count += static_cast<std::size_t>(got);
  }
  text.resize(count);
  return true;
}

// A program that writes a log holds a lock on it. Ours ends with the descriptor, at once: a log
// that somebody looks at must not seem to be one that goes on.
bool IsHeld(const Descriptor& file) {
  const bool isFree = flock(file.Get(), LOCK_SH | LOCK_NB) == 0;
  const bool isHeld = !isFree && errno == EWOULDBLOCK;
  if (isFree) flock(file.Get(), LOCK_UN);
  return isHeld;
}

RunState StateOf(const std::string& stem, const ReadLog& log, bool isHeld) {
  if (log.hasEnd) return RunState::kComplete;
  if (isHeld) return RunState::kRunning;
  if (EndsWith(stem, kCrashed)) return RunState::kCrashed;
  return log.endsInLine || EndsWith(stem, kUnlocked) ? RunState::kCut : RunState::kCrashed;
}

ReadLog NoLog(std::string why) {
  ReadLog read;
  read.why = std::move(why);
  return read;
}

ReadLog NotRead() {
  ReadLog read = NoLog(std::strerror(errno));
  read.isOfSystem = true;
  return read;
}

ReadLog ReadOpenLog(const Descriptor& file, const std::string& path) {
  const std::string stem =
      path.substr(0, path.size() - (EndsWith(path, kEnding) ? kEnding.size() : 0));
  // A run that ends between the look at its log and that at its lock has written more.
  for (int tries = 0;; ++tries) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) return NotRead();
    if (const std::string why = WhyNoFile(status); !why.empty()) return NoLog(why);
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > kLongestLog) return NoLog("is longer than any log");
    std::string text;
    if (!ReadAll(file, size, text)) return NotRead();
    ReadLog read = ReadLogText(std::move(text));
    if (!read.run) return read;
    const bool isHeld = !read.hasEnd && IsHeld(file);
    struct stat now {};
    const bool isSame = fstat(file.Get(), &now) == 0 && now.st_size == status.st_size;
    if (read.hasEnd || isHeld || isSame || tries > 0) {
      read.run->state = StateOf(stem, read, isHeld);
      read.run->verdict = VerdictOf(*read.run);
      return read;
    }
  }
}

}  // namespace

std::string RunIdOf(const std::string& path) {
  std::string name = path.substr(path.rfind('/') + 1);
  for (const std::string_view end : {kEnding, kCrashed, kUnlocked}) {
    if (EndsWith(name, end)) name.resize(name.size() - end.size());
  }
  return name;
}

std::vector<LogPlace> LogsIn(const std::string& folder, std::vector<PassedOver>& passedOver) {
  std::vector<LogPlace> logs;
  Lister(logs, passedOver)
      .Folder(Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), folder,
              kDeepest);
  const auto byPath = [](const auto& one, const auto& other) { return one.path < other.path; };
  std::sort(logs.begin(), logs.end(), byPath);
  return logs;
}

std::vector<LogPlace> LogsIn(const std::vector<std::string>& folders,
                             std::vector<PassedOver>& passedOver) {
  std::map<std::string, LogPlace> logs;
  std::set<PassedOver> others;
  for (const std::string& folder : folders) {
    std::vector<PassedOver> found;
    for (LogPlace& log : LogsIn(folder, found)) logs.try_emplace(log.path, log);
    others.insert(found.begin(), found.end());
  }
  passedOver.insert(passedOver.end(), others.begin(), others.end());
  std::vector<LogPlace> all;
  all.reserve(logs.size());
  for (auto& [path, log] : logs) all.push_back(std::move(log));
  return all;
}

ReadLog ReadLogFile(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return NotRead();
  // Opening a device may already do something.
  if (const std::string why = WhyNoFile(status); !why.empty()) return NoLog(why);
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  const Descriptor file(open(path.c_str(), kFlags));
  if (!file.IsOpen()) return NotRead();
  ReadLog read = ReadOpenLog(file, path);
  if (read.run) {
    read.run->id = Shown(RunIdOf(path));
    read.run->file = path;
  }
  return read;
}

}  // namespace tarvex::history
