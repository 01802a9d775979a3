#include "os/spool_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "os/descriptor.h"
#include "os/regular_file.h"
#include "os/trusted_path.h"

namespace tarvex {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr milliseconds kPatience{1000};
// How often a file may be taken away while we wait for it.
constexpr int kTries = 3;

// The right to write at the file's end. It is given back before the file is closed, for a closing
// is what wakes those who wait.
class Turn {
 public:
  explicit Turn(const Descriptor& file) : file_(file) {}
  ~Turn() { flock(file_.Get(), LOCK_UN); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // False: others hold it for longer than a write takes.
  bool Take() const {
    if (Try()) return true;
    const Descriptor closings(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string path = "/proc/self/fd/" + std::to_string(file_.Get());
    inotify_add_watch(closings.Get(), path.c_str(), IN_CLOSE);
    const auto end = Clock::now() + kPatience;
    for (milliseconds left = kPatience; left.count() > 0 && !Try();
         left = std::chrono::duration_cast<milliseconds>(end - Clock::now())) {
      WaitForClosing(closings, left);
    }
    return Try();
  }

 private:
  bool Try() const { return flock(file_.Get(), LOCK_EX | LOCK_NB) == 0; }
  static void WaitForClosing(const Descriptor& closings, milliseconds most) {
    pollfd closed{closings.Get(), POLLIN, 0};
    std::array<char, 4096> events{};
    if (poll(&closed, 1, static_cast<int>(most.count())) > 0) {
      [[maybe_unused]] const ssize_t ignored = read(closings.Get(), events.data(), events.size());
    }
  }

  const Descriptor& file_;
};

Descriptor OpenSpool(const Descriptor& folder, const std::string& name) {
  constexpr int kFlags =
      O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  return Descriptor(openat(folder.Get(), name.c_str(), kFlags, kOwnerOnly));
}

// The folder may be another user's, who could put anything in the file's place.
bool IsOwn(const Descriptor& file, struct stat& status) {
  return fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         status.st_uid == geteuid();
}

// As a crash amid a write leaves it.
bool EndsAmidALine(const Descriptor& file, off_t size) {
  char last = '\n';
  return size > 0 && pread(file.Get(), &last, 1, size - 1) == 1 && last != '\n';
}

bool WriteWhole(const Descriptor& file, std::string_view text, off_t oldSize) {
  ssize_t written = -1;
  do {
    written = write(file.Get(), text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(text.size())) return true;
  if (written > 0) {
    // Where even this fails nothing more can be done.
    [[maybe_unused]] const int ignored = ftruncate(file.Get(), oldSize);
  }
  return false;
}

// With the turn taken.
bool AddLine(const Descriptor& folder, const std::string& name, const Descriptor& file,
             std::string_view line, std::size_t limit) {
  struct stat status {};
  if (!IsOwn(file, status) || !IsOnlyName(folder, name, file)) return false;
  if ((status.st_mode & kPermissions) != kOwnerOnly && fchmod(file.Get(), kOwnerOnly) != 0) {
    return false;
  }
  const std::string text = (EndsAmidALine(file, status.st_size) ? "\n" : "") + std::string(line);
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit || text.size() > limit - size) return false;
  return IsOnlyName(folder, name, file) && WriteWhole(file, text, status.st_size);
}

}  // namespace

bool AppendToSpool(const std::string& folder, const std::string& name, std::string_view line,
                   std::size_t limit) {
  Descriptor directory;
  if (OpenFolderOverOwnLinks(folder, directory) != 0) return false;
  for (int tries = 0; tries < kTries; ++tries) {
    const Descriptor file = OpenSpool(directory, name);
    const Turn turn(file);
    struct stat status {};
    if (!IsOwn(file, status) || !turn.Take()) return false;
    if (IsNamed(directory, name, file)) return AddLine(directory, name, file, line, limit);
  }
  return false;
}

}  // namespace tarvex
