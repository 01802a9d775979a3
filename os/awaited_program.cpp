#include "os/awaited_program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tarvex {
namespace {

constexpr int kEndings[] = {SIGINT, SIGTERM, SIGHUP};

// Released on every way out.
class Plan {
 public:
  Plan() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    sigset_t endings;
    sigemptyset(&endings);
    for (const int signal : kEndings) sigaddset(&endings, signal);
    posix_spawnattr_setsigdefault(&attributes_, &endings);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
  }
  ~Plan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  int Spawn(std::vector<std::string> words, pid_t& pid) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return posix_spawn(&pid, words.front().c_str(), &actions_, &attributes_, arguments.data(),
                       environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

ProcessEnd WaitFor(pid_t pid) {
  siginfo_t information{};
  while (waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED) != 0) {
    if (errno != EINTR) return {0, 0, false};
  }
  return information.si_code == CLD_EXITED ? ProcessEnd{information.si_status, 0}
                                           : ProcessEnd{0, information.si_status};
}

}  // namespace

AwaitedEnd RunToItsEnd(const std::vector<std::string>& words) {
  for (const int signal : kEndings) std::signal(signal, SIG_IGN);
  AwaitedEnd result;
  result.error = Plan().Spawn(words, result.id);
  if (result.error == 0) result.end = WaitFor(result.id);
  return result;
}

}  // namespace tarvex
