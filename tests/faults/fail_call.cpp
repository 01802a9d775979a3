// Runs a program and makes one of its system calls fail, or tells which ones it makes.
//
//   fail_call count OUTPUT PROGRAM ARGUMENTS...
//       writes one line "THREAD NUMBER TIMES" for each kind of call, by the name of the thread that
//       made it and the call's number.
//   fail_call fail OUTPUT THREAD NUMBER TIME ERROR PROGRAM ARGUMENTS...
//       the call that a thread of that name makes with that number for the TIME-th time (from 1) is
//       not made and answers with that errno; writes "hit" once it has.
//
// Threads of one name are counted together, and so are those of processes that the program starts.
// Counted is what the program does from its own entry on; the calls of the loader before are not
// its own. The program dies with its tracer. What it started and what still runs two seconds behind
// its end is named in a line "left THREAD" and killed. The exit status is the program's; 128 and
// the signal when a signal ended it; 125 when nothing could be run.
//
// Source: ptrace(2), PTRACE_GET_SYSCALL_INFO; the registers are those of x86-64.

#include <elf.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kCannotRun = 125;
constexpr int kSignalStatus = 128;
constexpr int kSyscallStop = SIGTRAP | 0x80;
constexpr unsigned kPatienceSeconds = 2;
constexpr std::uint64_t kNoCall = ~std::uint64_t{0};  // a number that the kernel does not know

using CallKind = std::pair<std::string, std::uint64_t>;  // name of the thread, number of the call

struct Target {
  CallKind kind;
  std::uint64_t time = 0;
  std::uint64_t error = 0;
};

std::string ThreadName(pid_t thread) {
  std::ifstream file("/proc/" + std::to_string(thread) + "/comm");
  std::string name;
  std::getline(file, name);
  for (char& byte : name) {
    if (byte == ' ') byte = '_';
  }
  return name;
}

class Tracer {
 public:
  Tracer(pid_t program, std::optional<Target> target)
      : program_(program), target_(std::move(target)) {}

  // Traces until the program and all that it started have ended, or for two seconds behind the end
  // of the program; its exit status.
  int Run() {
    int result = kCannotRun;
    int status = 0;
    pid_t thread = 0;
    while ((thread = waitpid(-1, &status, __WALL)) > 0) {
      if (WIFSTOPPED(status)) {
        Resume(thread, status);
        continue;
      }
      known_.erase(thread);
      if (thread != program_) continue;
      result = WIFSIGNALED(status) ? kSignalStatus + WTERMSIG(status) : WEXITSTATUS(status);
      alarm(kPatienceSeconds);
    }
    return result;
  }

  bool WasHit() const { return wasHit_; }
  // What did not end with the program.
  std::set<std::string> Left() const {
    std::set<std::string> names;
    for (const pid_t thread : known_) names.insert(ThreadName(thread));
    return names;
  }
  const std::map<CallKind, std::uint64_t>& Counts() const { return counts_; }

 private:
  void Resume(pid_t thread, int status) {
    const int signal = WSTOPSIG(status);
    const bool isEvent = (status >> 16) != 0;
    // A new thread or process stops with this signal before its first instruction.
    const bool isFirst = known_.insert(thread).second && signal == SIGSTOP;
    if (signal == kSyscallStop) OnCall(thread);
    const int passedOn = isEvent || isFirst || signal == kSyscallStop ? 0 : signal;
    ptrace(PTRACE_SYSCALL, thread, nullptr, passedOn);
  }

  void OnCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info) <= 0) return;
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
      OnEntry(thread, info.entry.nr);
    } else if (info.op == PTRACE_SYSCALL_INFO_EXIT && failing_.erase(thread) > 0) {
      SetRegister(thread, offsetof(user_regs_struct, rax), std::uint64_t{0} - target_->error);
      wasHit_ = true;
    }
  }

  void OnEntry(pid_t thread, std::uint64_t number) {
    const CallKind kind{ThreadName(thread), number};
    const std::uint64_t time = ++counts_[kind];
    if (target_ && kind == target_->kind && time == target_->time) {
      SetRegister(thread, offsetof(user_regs_struct, orig_rax), kNoCall);
      failing_.insert(thread);
    }
  }

  static void SetRegister(pid_t thread, std::size_t offset, std::uint64_t value) {
    ptrace(PTRACE_POKEUSER, thread, offsetof(user, regs) + offset, value);
  }

  pid_t program_;
  std::optional<Target> target_;
  std::map<CallKind, std::uint64_t> counts_;
  std::set<pid_t> known_{program_};
  std::set<pid_t> failing_;  // in the call that is to fail
  bool wasHit_ = false;
};

// Where the program begins once the loader has done its work; 0 when the kernel does not tell.
std::uint64_t EntryOf(pid_t program) {
  std::ifstream file("/proc/" + std::to_string(program) + "/auxv", std::ios::binary);
  std::array<std::uint64_t, 2> pair{};
  while (file.read(reinterpret_cast<char*>(pair.data()), sizeof(pair))) {
    if (pair[0] == AT_ENTRY) return pair[1];
  }
  return 0;
}

// Lets a stopped program run up to its entry; false when it does not come there.
bool RunToEntry(pid_t program) {
  constexpr std::uint64_t kBreakpoint = 0xCC;
  constexpr std::uint64_t kByte = 0xFF;
  auto* const entry = reinterpret_cast<void*>(EntryOf(program));
  errno = 0;
  const auto code = static_cast<std::uint64_t>(ptrace(PTRACE_PEEKTEXT, program, entry, nullptr));
  if (entry == nullptr || errno != 0) return false;
  ptrace(PTRACE_POKETEXT, program, entry, (code & ~kByte) | kBreakpoint);
  ptrace(PTRACE_CONT, program, nullptr, 0);
  int status = 0;
  if (waitpid(program, &status, 0) != program || !WIFSTOPPED(status)) return false;
  ptrace(PTRACE_POKETEXT, program, entry, code);
  ptrace(PTRACE_POKEUSER, program, offsetof(user, regs) + offsetof(user_regs_struct, rip), entry);
  return WSTOPSIG(status) == SIGTRAP;
}

// The program, stopped at its entry; 0 when it cannot be run.
pid_t StartTraced(char** command) {
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(command[0], command);
    _exit(kCannotRun);
  }
  int status = 0;
  // The first stop is that of the started program, behind its exec.
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return 0;
  constexpr std::uintptr_t kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE |
                                      PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                                      PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
  if (ptrace(PTRACE_SETOPTIONS, child, nullptr, kOptions) != 0 || !RunToEntry(child)) return 0;
  return ptrace(PTRACE_SYSCALL, child, nullptr, 0) == 0 ? child : 0;
}

int Trace(const std::string& output, std::optional<Target> target, char** command) {
  const bool counting = !target;
  const pid_t child = StartTraced(command);
  if (child == 0) return kCannotRun;
  Tracer tracer(child, std::move(target));
  // Without SA_RESTART, so that the alarm ends the wait.
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const int status = tracer.Run();
  std::ofstream file(output);
  if (counting) {
    for (const auto& [kind, times] : tracer.Counts()) {
      file << kind.first << ' ' << kind.second << ' ' << times << '\n';
    }
  } else if (tracer.WasHit()) {
    file << "hit\n";
  }
  for (const std::string& name : tracer.Left()) file << "left " << name << '\n';
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 3 ? argv[1] : "";
  if (mode == "count") return Trace(argv[2], std::nullopt, argv + 3);
  if (mode == "fail" && argc > 7) {
    const Target target{{argv[3], std::strtoull(argv[4], nullptr, 10)},
                        std::strtoull(argv[5], nullptr, 10),
                        std::strtoull(argv[6], nullptr, 10)};
    return Trace(argv[2], target, argv + 7);
  }
  std::cerr << "usage: fail_call count|fail OUTPUT ...; see fail_call.cpp\n";
  return kCannotRun;
}
