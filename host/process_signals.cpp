#include "host/process_signals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <mutex>

#include "host/terminal.h"
#include "host/thread_start.h"

namespace tarvex {
namespace {

constexpr std::array<int, 6> kFaults{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS};
constexpr std::array<int, 6> kOtherEnds{SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ};

// What the handlers touch. Lock-free, never destroyed.
std::array<std::atomic<std::uint32_t>, kTerminationSignals.size()> requests;
std::atomic<int> wakeDescriptor{-1};
std::atomic<bool> isForwarding{false};
// Complete before the handler of the fault is installed, then constant.
std::array<struct sigaction, kFaults.size()> faultActions;

static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

template <std::size_t kSize>
std::size_t IndexOf(const std::array<int, kSize>& signals, int signal) {
  return static_cast<std::size_t>(std::find(signals.begin(), signals.end(), signal) -
                                  signals.begin());
}

struct sigaction ActionOf(void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  return action;
}

void OnTermination(int signal) {
  const int savedErrno = errno;
  if (!isForwarding.load()) {
    EndBySignal(signal);
  } else {
    requests[IndexOf(kTerminationSignals, signal)].fetch_add(1);
    const std::uint64_t one = 1;
    // It fails only while the descriptor is as readable as it can be.
    [[maybe_unused]] const ssize_t written = ::write(wakeDescriptor.load(), &one, sizeof one);
  }
  errno = savedErrno;
}

// The fault is left to whoever handled it before: the system, or a checker that reports it.
void OnFault(int signal, siginfo_t* information, void* /*context*/) {
  RestoreTerminal();
  ::sigaction(signal, &faultActions[IndexOf(kFaults, signal)], nullptr);
  // A faulty instruction is run again on return; a sent signal must be sent again.
  if (information->si_code <= 0) ::raise(signal);
}

void OnStop(int signal);

constexpr int kFlags = SA_RESTART | SA_ONSTACK;

void StopNow(int signal) {
  const struct sigaction standard = ActionOf(SIG_DFL, 0);
  const struct sigaction own = ActionOf(OnStop, kFlags);
  sigset_t set;
  sigset_t before;
  sigemptyset(&set);
  sigaddset(&set, signal);
  ::sigaction(signal, &standard, nullptr);
  ::raise(signal);
  // Here the process stops, and goes on; or goes on at once where nobody could continue it.
  ::pthread_sigmask(SIG_UNBLOCK, &set, &before);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::sigaction(signal, &own, nullptr);
}

void OnStop(int signal) {
  const int savedErrno = errno;
  SuspendTerminal();
  StopNow(signal);
  ResumeTerminal();
  errno = savedErrno;
}

void OnContinue(int /*signal*/) {
  DoubtTerminal();
}

void InstallIfDefault(int signal, void (*handler)(int)) {
  struct sigaction current {};
  if (::sigaction(signal, nullptr, &current) != 0) return;
  if ((current.sa_flags & SA_SIGINFO) != 0 || current.sa_handler != SIG_DFL) return;
  const struct sigaction action = ActionOf(handler, kFlags);
  ::sigaction(signal, &action, nullptr);
}

void InstallFaultHandler(std::size_t index) {
  const int signal = kFaults[index];
  struct sigaction action {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  if (::sigaction(signal, nullptr, &faultActions[index]) == 0) {
    ::sigaction(signal, &action, nullptr);
  }
}

void InstallTerminalSignals() {
  // For the main thread, and for good: exit() may run on another.
  [[maybe_unused]] static const auto* const stack = new AlternateStack;
  for (std::size_t i = 0; i < kFaults.size(); ++i) InstallFaultHandler(i);
  for (const int signal : kOtherEnds) InstallIfDefault(signal, EndBySignal);
  InstallIfDefault(SIGTSTP, OnStop);
  InstallIfDefault(SIGCONT, OnContinue);
}

}  // namespace

void WatchTermination() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (const int signal : kTerminationSignals) InstallIfDefault(signal, OnTermination);
  });
}

void WatchProcessSignals() {
  WatchTermination();
  static std::once_flag once;
  std::call_once(once, InstallTerminalSignals);
}

int TerminationDescriptor() {
  static std::once_flag once;
  std::call_once(once, [] { wakeDescriptor.store(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); });
  return wakeDescriptor.load();
}

void ForwardTermination(bool forward) {
  isForwarding.store(forward && wakeDescriptor.load() >= 0);
}

std::uint32_t TakeTerminations(int signal) {
  const std::size_t index = IndexOf(kTerminationSignals, signal);
  return index < requests.size() ? requests[index].exchange(0) : 0;
}

void EndBySignal(int signal) {
  RestoreTerminal();
  const struct sigaction standard = ActionOf(SIG_DFL, 0);
  ::sigaction(signal, &standard, nullptr);
  ::kill(::getpid(), signal);
}

void EndByLateSignal(int signal) {
  struct sigaction current {};
  const bool isIgnored = ::sigaction(signal, nullptr, &current) == 0 &&
                         (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_IGN;
  if (!isIgnored) EndBySignal(signal);
}

}  // namespace tarvex
