#include "host/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "host/process_signals.h"

namespace tarvex {
namespace {

// What signal handlers look at: lock-free words, and settings that are complete before `isRaw`
// says so. Never destroyed. `before` and `keys` are written by the main thread, only while isRaw
// is false.
std::atomic<int> descriptor{-1};
std::atomic<bool> isRaw{false};
std::atomic<bool> isDoubtful{false};
std::atomic<bool> isSuspended{false};
termios before;
termios keys;

static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

// Main thread. A process that has no terminal gets none later.
bool hasNoTerminal = false;

bool IsForeground(int terminal) {
  return ::tcgetpgrp(terminal) == ::getpgrp();
}

// A process that touches a terminal from the background is stopped; who looked first may still
// have been sent there since. With these signals blocked the call goes through or fails instead.
class JobControlPause {
 public:
  JobControlPause() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTTIN);
    sigaddset(&set, SIGTTOU);
    ::pthread_sigmask(SIG_BLOCK, &set, &before_);
  }
  ~JobControlPause() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  JobControlPause(const JobControlPause&) = delete;
  JobControlPause& operator=(const JobControlPause&) = delete;

 private:
  sigset_t before_;
};

bool SetTerminal(int terminal, const termios& settings) {
  const JobControlPause pause;
  int result = 0;
  do {
    result = ::tcsetattr(terminal, TCSANOW, &settings);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

termios KeySettings(termios settings) {
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  settings.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL);
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = 0;
  return settings;
}

bool OpenTerminal() {
  if (descriptor.load() >= 0) return true;
  if (hasNoTerminal) return false;
  const int terminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  hasNoTerminal = terminal < 0;
  descriptor.store(terminal);
  return !hasNoTerminal;
}

// The terminal gives single keys now.
bool MakeRaw(int terminal) {
  if (isSuspended.load()) return false;
  if (isRaw.load()) return !isDoubtful.exchange(false) || SetTerminal(terminal, keys);
  if (::tcgetattr(terminal, &before) != 0) return false;
  keys = KeySettings(before);
  WatchProcessSignals();
  isDoubtful.store(false);
  isRaw.store(true);
  if (!SetTerminal(terminal, keys)) {
    isRaw.store(false);
    return false;
  }
  if (isRaw.load()) return true;
  // A handler on another thread put the terminal back between the two calls.
  SetTerminal(terminal, before);
  return false;
}

}  // namespace

bool PrepareTerminal() {
  return OpenTerminal() && IsForeground(descriptor.load()) && MakeRaw(descriptor.load());
}

std::size_t ReadTerminal(unsigned char* bytes, std::size_t size,
                         std::chrono::milliseconds patience) {
  if (!PrepareTerminal()) return 0;
  const int terminal = descriptor.load();
  pollfd waiting{terminal, POLLIN, 0};
  if (::poll(&waiting, 1, static_cast<int>(patience.count())) <= 0 ||
      (waiting.revents & POLLIN) == 0)
    return 0;
  const JobControlPause pause;
  const ssize_t count = ::read(terminal, bytes, size);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void RestoreTerminal() {
  const int savedErrno = errno;
  const int terminal = descriptor.load();
  // In the background the terminal belongs to those who have set it for themselves.
  if (isRaw.exchange(false) && terminal >= 0 && IsForeground(terminal)) {
    SetTerminal(terminal, before);
  }
  errno = savedErrno;
}

void SuspendTerminal() {
  isSuspended.store(true);
  RestoreTerminal();
}

void ResumeTerminal() {
  isSuspended.store(false);
}

void DoubtTerminal() {
  isDoubtful.store(true);
}

namespace {

// Puts the terminal back at the end of main and at exit().
struct TerminalAtExit {
  ~TerminalAtExit() { RestoreTerminal(); }
} terminalAtExit;

}  // namespace

}  // namespace tarvex
