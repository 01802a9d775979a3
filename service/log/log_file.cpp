#include "service/log/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "os/regular_file.h"
#include "os/trusted_path.h"
#include "service/log/log_time.h"

namespace orvan::log {
namespace {

// Names in one folder differ by process or by time; more than a few collisions are no accident.
constexpr int kNameTries = 16;

// The room that a line leaves behind itself on the disk. Of ends there are few and short ones: one
// for each test that runs, and two for the run.
std::uint64_t RoomBehind(LogRank rank) {
  constexpr std::array<std::uint64_t, 4> kByRank = {16384, 16384, 4096, 0};
  return kByRank[static_cast<std::size_t>(rank)];
}

// Makes a new file of that name. 0, or an errno.
int Make(const tarvex::Descriptor& folder, const std::string& name, tarvex::Descriptor& file) {
  constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  // Nobody's but ours, also where the folder's group or its access list would give it to others.
  file.Reset(openat(folder.Get(), name.c_str(), kFlags, 0600));
  return file.IsOpen() ? 0 : errno;
}

int Lock(const tarvex::Descriptor& file) {
  int result = 0;
  do {
    result = flock(file.Get(), LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

// Makes a new file of that stem and locks it; `name` becomes its name. 0, or an errno. Another run
// that removes old logs may take it in the moment before it is locked: then the name counts as
// taken.
int MakeLocked(const tarvex::Descriptor& folder, const std::string& stem, std::string& name,
               tarvex::Descriptor& file) {
  name = stem + ".jsonl";
  tarvex::Descriptor made;
  if (const int error = Make(folder, name, made); error != 0) return error;
  const int error = Lock(made);
  if (error == 0 ? !tarvex::IsNamed(folder, name, made) : error == EWOULDBLOCK) return EEXIST;
  if (error != 0) {
    // Under that name it would look like the log of a crashed run.
    unlinkat(folder.Get(), name.c_str(), 0);
    name = stem + ".unlocked.jsonl";
    if (const int second = Make(folder, name, made); second != 0) return second;
  }
  file = std::move(made);
  return 0;
}

}  // namespace

bool LogFile::Create(const std::string& folder, std::int64_t nowMs) {
  if (folder.empty() || folder.find('\0') != std::string::npos) return false;
  tarvex::Descriptor place;
  if (tarvex::MakeFolderOverOwnLinks(folder, place) != 0) return false;
  auto fresh = std::make_shared<Open>();
  fresh->folder.Reset(openat(place.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fresh->folder.IsOpen()) return false;
  std::string name;
  for (int tries = 0; tries < kNameTries && !fresh->file.IsOpen(); ++tries) {
    const std::string stem =
        "tarvex-" + FileTimeText(nowMs + tries) + '-' + std::to_string(getpid());
    const int error = MakeLocked(fresh->folder, stem, name, fresh->file);
    if (error != 0 && error != EEXIST) return false;
  }
  if (!fresh->file.IsOpen()) return false;
  file_ = std::move(fresh);
  folder_ = folder;
  name_ = std::move(name);
  return true;
}

bool LogFile::Append(std::string_view line, LogRank rank) {
  if (file_ == nullptr) return false;
  Open& open = *file_;
  const std::uint64_t behind = RoomBehind(rank);
  if (behind > 0 && !open.reserve.Hold(open.file.Get(), open.size + line.size() + behind)) {
    return false;
  }
  ssize_t written = -1;
  do {
    written = write(open.file.Get(), line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(line.size())) {
    open.size += line.size();
    return true;
  }
  // What a full disk took of the line would spoil the next one.
  if (written > 0) {
    open.reserve.Forget(open.size);
    if (ftruncate(open.file.Get(), static_cast<off_t>(open.size)) != 0) Close();
  }
  return false;
}

bool LogFile::CopyFrom(const LogFile& other) {
  char block[65536];
  std::uint64_t at = 0;
  const std::uint64_t end = other.file_->size;
  while (at < end) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(sizeof block, end - at));
    const ssize_t count = pread(other.file_->file.Get(), block, wanted, static_cast<off_t>(at));
    if (count <= 0 || !Append({block, static_cast<std::size_t>(count)}, LogRank::kOutcome)) {
      return false;
    }
    at += static_cast<std::uint64_t>(count);
  }
  return true;
}

bool LogFile::MoveTo(const std::string& folder, std::int64_t nowMs) {
  LogFile next;
  if (file_ == nullptr || !next.Create(folder, nowMs)) return false;
  if (!next.CopyFrom(*this)) {
    next.Discard();
    return false;
  }
  Discard();
  *this = std::move(next);
  return true;
}

void LogFile::Discard() {
  if (file_ != nullptr) {
    unlinkat(file_->folder.Get(), name_.c_str(), 0);
    Close();
  }
}

void LogFile::Close() {
  if (file_ != nullptr) {
    // A syncer that hangs keeps the descriptor, and must not keep the lock.
    flock(file_->file.Get(), LOCK_UN);
    file_->isComplete = true;
    file_.reset();
  }
}

std::function<void()> LogFile::Syncer() const {
  return [file = file_] {
    if (file != nullptr) {
      if (file->isComplete) {  // first, for one trip to the disk does for both
        file->reserve.GiveBack(file->file.Get(), file->size);
      }
      fdatasync(file->file.Get());
      fsync(file->folder.Get());  // a new file's name lies in its folder
    }
  };
}

}  // namespace orvan::log
