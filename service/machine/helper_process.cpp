#include "service/machine/helper_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <mutex>
#include <string_view>
#include <vector>

namespace orvan::machine {
namespace {

constexpr int kReapWaitMs = 100;

// Helpers that were killed and have not ended yet.
struct Orphans {
  std::mutex mutex;
  std::vector<pid_t> ids;  // guarded by mutex
};

Orphans& TheOrphans() {
  static Orphans orphans;
  return orphans;
}

bool HasEnded(pid_t pid) {
  const pid_t result = waitpid(pid, nullptr, WNOHANG);
  return result == pid || (result < 0 && errno == ECHILD);
}

void Reap(pid_t pid) {
  const tarvex::Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (process.IsOpen()) {
    pollfd ended{process.Get(), POLLIN, 0};
    poll(&ended, 1, kReapWaitMs);
  }
  Orphans& orphans = TheOrphans();
  const std::lock_guard lock(orphans.mutex);
  orphans.ids.push_back(pid);
  std::erase_if(orphans.ids, HasEnded);
}

// What posix_spawn is told; released on every way out.
class SpawnPlan {
 public:
  explicit SpawnPlan(int socket) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_adddup2(&actions_, socket, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  int Spawn(const std::string& program, pid_t& pid) {
    std::string name = program;
    char* arguments[] = {name.data(), nullptr};
    char* environment[] = {nullptr};
    return posix_spawn(&pid, program.c_str(), &actions_, &attributes_, arguments, environment);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

char ProcessState(pid_t pid) {
  const std::string path = "/proc/" + std::to_string(pid) + "/stat";
  const tarvex::Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  char text[256];  // the name in parentheses has 64 bytes at most
  const ssize_t got = fd.IsOpen() ? read(fd.Get(), text, sizeof(text)) : -1;
  if (got <= 0) return kUnknown;
  const std::string_view line(text, static_cast<std::size_t>(got));
  // The name may hold anything, parentheses and blanks too.
  const std::size_t end = line.rfind(')');
  return end != line.npos && end + 2 < line.size() ? line[end + 2] : kUnknown;
}

std::unique_ptr<HelperProcess> HelperProcess::Start(const std::string& program, int& error) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    error = errno;
    return nullptr;
  }
  tarvex::Descriptor ours(ends[0]);
  tarvex::Descriptor theirs(ends[1]);
  // The copy onto descriptor 0 must not be a no-op: it would stay closed on exec.
  if (theirs.Get() == STDIN_FILENO) {
    theirs = tarvex::Descriptor(fcntl(theirs.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  pid_t pid = -1;
  error = theirs.IsOpen() ? SpawnPlan(theirs.Get()).Spawn(program, pid) : EMFILE;
  if (error != 0) return nullptr;
  return std::unique_ptr<HelperProcess>(new HelperProcess(std::move(ours), pid));
}

HelperProcess::~HelperProcess() {
  kill(pid_, SIGKILL);
  Reap(pid_);
}

bool HelperProcess::Send(const void* message, std::size_t size) {
  ssize_t sent = -1;
  do {
    sent = send(socket_.Get(), message, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  } while (sent < 0 && errno == EINTR);
  return sent >= 0 && static_cast<std::size_t>(sent) == size;
}

HelperProcess::Receipt HelperProcess::Receive(void* message, std::size_t capacity,
                                              std::size_t& size, std::chrono::milliseconds wait) {
  pollfd ready{socket_.Get(), POLLIN, 0};
  const int count = poll(&ready, 1, static_cast<int>(wait.count()));
  if (count == 0 || (count < 0 && errno == EINTR)) return Receipt::kNothing;
  const ssize_t got = recv(socket_.Get(), message, capacity, MSG_DONTWAIT | MSG_TRUNC);
  if (got < 0 && (errno == EAGAIN || errno == EINTR)) return Receipt::kNothing;
  if (got <= 0 || static_cast<std::size_t>(got) > capacity) return Receipt::kClosed;
  size = static_cast<std::size_t>(got);
  return Receipt::kMessage;
}

}  // namespace orvan::machine
