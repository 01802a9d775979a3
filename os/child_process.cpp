#include "os/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace tarvex {
namespace {

// What posix_spawn is told; released on every way out.
class SpawnPlan {
 public:
  explicit SpawnPlan(int passed) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, passed, ChildProcess::kPassedDescriptor);
    posix_spawn_file_actions_addclosefrom_np(&actions_, ChildProcess::kPassedDescriptor + 1);
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
    std::array<char*, 2> arguments{name.data(), nullptr};
    std::array<char*, 1> environment{nullptr};
    return posix_spawn(&pid, program.c_str(), &actions_, &attributes_, arguments.data(),
                       environment.data());
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

int ChildProcess::Start(const std::string& program, const Descriptor& passed, ChildProcess& child) {
  // Out of the way of what the plan opens: descriptors are made in its order.
  const Descriptor apart(fcntl(passed.Get(), F_DUPFD_CLOEXEC, kPassedDescriptor + 1));
  if (!apart.IsOpen()) return errno;
  pid_t pid = -1;
  if (const int error = SpawnPlan(apart.Get()).Spawn(program, pid); error != 0) return error;
  child.pid_ = pid;
  // Nobody else waits for our children, so the number is still this one's.
  child.handle_.Reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (child.handle_.IsOpen()) return 0;
  const int error = errno;
  child.Kill();
  return error;
}

char ChildProcess::State() const {
  const std::string path = "/proc/" + std::to_string(pid_) + "/stat";
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  std::array<char, 256> text;  // the name in parentheses has 64 bytes at most
  const ssize_t got = file.IsOpen() ? read(file.Get(), text.data(), text.size()) : -1;
  if (got <= 0) return kUnknownState;
  const std::string_view line(text.data(), static_cast<std::size_t>(got));
  // The name may hold anything, parentheses and blanks too.
  const std::size_t end = line.rfind(')');
  return end != line.npos && end + 2 < line.size() ? line[end + 2] : kUnknownState;
}

void ChildProcess::Kill() const {
  if (!IsThere()) return;
  const bool isHeld = handle_.IsOpen()
                          ? syscall(SYS_pidfd_send_signal, handle_.Get(), SIGKILL, nullptr, 0) == 0
                          : kill(pid_, SIGKILL) == 0;
  // The group's number is this one's as long as nobody has taken its end.
  if (isHeld) kill(-pid_, SIGKILL);
}

ChildProcess::Look ChildProcess::LookForEnd(int flags, ProcessEnd& end) const {
  siginfo_t information{};
  const int result =
      handle_.IsOpen()
          ? waitid(P_PIDFD, static_cast<id_t>(handle_.Get()), &information, flags | WNOHANG)
          : waitid(P_PID, static_cast<id_t>(pid_), &information, flags | WNOHANG);
  if (result != 0) {
    end = {0, 0, false};
    return Look::kUnknown;
  }
  if (information.si_pid == 0) return Look::kThere;
  end = information.si_code == CLD_EXITED ? ProcessEnd{information.si_status, 0}
                                          : ProcessEnd{0, information.si_status};
  return Look::kEnded;
}

bool ChildProcess::HasEnded() const {
  ProcessEnd end;
  return IsThere() && LookForEnd(WEXITED | WNOWAIT, end) != Look::kThere;
}

std::optional<ProcessEnd> ChildProcess::TakeEnd() {
  if (!IsThere()) return std::nullopt;
  ProcessEnd end;
  const Look look = LookForEnd(WEXITED | WNOWAIT, end);
  if (look == Look::kThere) return std::nullopt;
  if (look == Look::kEnded) {
    // As long as the end is not taken the number cannot be another group's.
    kill(-pid_, SIGKILL);
    LookForEnd(WEXITED, end);
  }
  pid_ = -1;
  handle_.Reset();
  return end;
}

}  // namespace tarvex
