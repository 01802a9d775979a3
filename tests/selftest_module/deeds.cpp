#include "tests/selftest_module/deeds.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace selftest {
namespace {

constexpr int kSocket = 3;  // of a worker to its program
constexpr std::uint32_t kIdBytes = 30000;

// Nothing of the compiler's cleverness may do away with a fault.
volatile int zero = 0;

template <int kSignal>
void Raise(const std::string& /*file*/) {
  raise(kSignal);
}

void WriteToNull(const std::string& /*file*/) {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

void DivideByZero(const std::string& /*file*/) {
  const int dividend = zero + 7;
  zero = dividend / zero;
}

void RunInvalidCode(const std::string& /*file*/) {
  __builtin_trap();
}

[[gnu::noinline]] std::size_t FallDeeper(volatile char* above) {
  std::array<volatile char, 1024> frame{};
  frame[0] = *above;
  if (zero != 0) return 0;
  return FallDeeper(frame.data()) + static_cast<std::size_t>(frame[0]) + 1;
}

void OverflowStack(const std::string& /*file*/) {
  volatile char first = 1;
  zero = static_cast<int>(FallDeeper(&first));
}

void CrashElsewhere(const std::string& file) {
  std::thread([file] { WriteToNull(file); }).join();
}

void Terminate(const std::string& /*file*/) {
  std::thread([] { throw std::runtime_error("nobody catches this"); }).join();
}

void Hang(const std::string& /*file*/) {
  while (true) pause();
}

void Spin(const std::string& /*file*/) {
  while (zero == 0) {
  }
}

int WaitForEnd(void* /*nothing*/) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  while (true) pause();
}

// In the kernel, in a sleep that no signal but the last one ends: that of who has made a process
// that shares its memory. The sanitizers make another one of vfork.
void HangInKernel(const std::string& /*file*/) {
  alignas(16) static std::array<char, 64U << 10> stack;
  clone(WaitForEnd, stack.data() + stack.size(), CLONE_VM | CLONE_VFORK | SIGCHLD, nullptr);
}

// In the kernel, in a call of a file that never answers.
void ReadFile(const std::string& file) {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  char byte = 0;
  [[maybe_unused]] const ssize_t got = read(descriptor, &byte, 1);
}

void Grow(const std::string& /*file*/) {
  constexpr std::size_t kStep = 4U << 20;
  std::vector<std::unique_ptr<char[]>> kept;
  while (true) {
    kept.push_back(std::make_unique<char[]>(kStep));
    for (std::size_t at = 0; at < kStep; at += 4096) kept.back()[at] = 1;
  }
}

// With memory that no limit of the system's is about.
void GrowUnseen(const std::string& /*file*/) {
  constexpr std::size_t kStep = 4U << 20;
  while (true) {
    void* const more =
        mmap(nullptr, kStep, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (more != MAP_FAILED) std::memset(more, 1, kStep);
  }
}

void AllocateAtOnce(const std::string& /*file*/) {
  char* volatile much = new char[(1ULL << 40) + static_cast<std::size_t>(zero)];
  delete[] much;
}

void CloseAll(const std::string& /*file*/) {
  for (int descriptor = kSocket; descriptor < 1024; ++descriptor) close(descriptor);
}

void CloseAllAndHang(const std::string& file) {
  CloseAll(file);
  Hang(file);
}

void SendBytes(const void* bytes, std::size_t size) {
  [[maybe_unused]] const ssize_t sent = send(kSocket, bytes, size, MSG_NOSIGNAL);
}

void SendGarbage(const std::string& /*file*/) {
  const std::string garbage = "this is no message";
  SendBytes(garbage.data(), garbage.size());
}

void SendNothing(const std::string& /*file*/) {
  SendBytes("", 1);
}

// A message that a test and a tool may say, of a request that was never made.
void Forge(const std::string& /*file*/) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 10;  // of a line of the log
    std::uint64_t request = 4711;
    std::uint32_t level = 0;
    std::uint32_t length = 0;
  } message;
  SendBytes(&message, sizeof(message));
}

// A device that is none, in as many bytes.
struct [[gnu::packed]] FoundNone {
  char form = 0;
  std::uint32_t kind = 2;
  std::uint64_t request = 0;
  char isNone = 1;
  std::uint32_t idLength = kIdBytes;
  std::array<char, kIdBytes> id{};
  // Neither names nor rows.
  std::array<char, 5 + 1 + (1 + 16) + 2 + 8> rest{};
};

void ForgeDevice(const std::string& /*file*/) {
  FoundNone message;
  message.request = 4711;
  SendBytes(&message, sizeof(message));
}

// Past what keeps count of devices here.
void FindWithoutEnd(const std::string& /*file*/) {
  FoundNone message;
  message.request = 1;
  while (true) SendBytes(&message, sizeof(message));
}

// A device that there is not, for the first order behind a scan.
void WithdrawTooFar(const std::string& /*file*/) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 14;
    std::uint64_t request = 2;
    std::uint32_t candidate = 2;
  } message;
  SendBytes(&message, sizeof(message));
}

// More resources than there are devices, for the first order behind a scan.
void TellTooMuch(const std::string& /*file*/) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 21;
    std::uint64_t request = 2;
    char isThrown = 0;
    std::uint32_t count = 0;
  } message;
  for (int i = 0; i < 3; ++i) SendBytes(&message, sizeof(message));
}

// The end of the resources, for the same, though not all devices told theirs.
void TellTooLittle(const std::string& /*file*/) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 22;
    std::uint64_t request = 2;
    std::uint64_t leftBehind = 0;
  } message;
  SendBytes(&message, sizeof(message));
}

// A memory that says that it holds a message, and does not.
void SendMemoryThatIsNone(const std::string& /*file*/) {
  const char inMemory = 1;
  SendBytes(&inMemory, 1);
}

void LeaveChild(const std::string& /*file*/) {
  if (fork() == 0) {
    prctl(PR_SET_NAME, "selftest-child");
    while (true) pause();
  }
}

// What it leaves behind keeps the connection.
void LeaveChildAndCrash(const std::string& file) {
  LeaveChild(file);
  WriteToNull(file);
}

void LeaveChildAndExit(const std::string& file) {
  LeaveChild(file);
  _exit(3);
}

// Says what may be said at any time, for as long as anybody could hear it.
[[noreturn]] void TalkForEver() {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 16;  // of a recording's end
    std::int32_t error = 0;
  } message;
  while (send(kSocket, &message, sizeof(message), MSG_NOSIGNAL) >= 0) continue;
  _exit(0);
}

void LeaveTalkerAndExit(const std::string& /*file*/) {
  if (fork() == 0) TalkForEver();
  _exit(3);
}

// In a session of its own, so that it does not end with the worker.
void LeaveFreeTalkerAndExit(const std::string& /*file*/) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) _exit(4);
  if (fork() == 0) {
    setsid();
    close(ends[1]);
    TalkForEver();
  }
  // The child's end of it is closed once it has its session.
  close(ends[1]);
  char byte = 0;
  [[maybe_unused]] const ssize_t none = read(ends[0], &byte, 1);
  _exit(3);
}

// The last words of a worker that ends, of one that goes on.
void SayLastWords(const std::string& file) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 19;  // of one that has no memory
    std::uint64_t taken = 1000U << 20;
    std::uint64_t limit = 528U << 20;
  } message;
  SendBytes(&message, sizeof(message));
  Hang(file);
}

// The thread, not the process.
void EndThread(const std::string& /*file*/) {
  syscall(SYS_exit, 0);
}

void SendPong(const std::string& /*file*/) {
  struct [[gnu::packed]] {
    char form = 0;
    std::uint32_t kind = 17;  // of a sign of life
    std::uint64_t bytes = 0;
  } message;
  SendBytes(&message, sizeof(message));
}

// Source: proc(5), /proc/pid/syscall: the number of the call that a thread is held up in.
bool IsHeldUpInRead(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
  std::string call;
  file >> call;
  return call == std::to_string(SYS_read);
}

// With a call of another thread in the kernel, which keeps the process from ending.
void CrashAmidRead(const std::string& file) {
  std::atomic<pid_t> reader{0};
  std::thread([&reader, file] {
    reader = gettid();
    ReadFile(file);
  }).detach();
  while (reader == 0 || !IsHeldUpInRead(reader)) std::this_thread::yield();
  WriteToNull(file);
}

}  // namespace

const std::vector<Deed>& Deeds() {
  static const std::vector<Deed> deeds{
      {"throw", [](const std::string&) { throw std::runtime_error("thrown on purpose"); }},
      {"throw-number", [](const std::string&) { throw 5; }},
      {"segv", WriteToNull},
      {"bus", Raise<SIGBUS>},
      {"ill", RunInvalidCode},
      {"fpe", DivideByZero},
      {"abort", [](const std::string&) { std::abort(); }},
      {"trap", Raise<SIGTRAP>},
      {"sys", Raise<SIGSYS>},
      {"xcpu", Raise<SIGXCPU>},
      {"xfsz", Raise<SIGXFSZ>},
      {"term", Raise<SIGTERM>},
      {"kill", Raise<SIGKILL>},
      {"overflow", OverflowStack},
      {"crash-elsewhere", CrashElsewhere},
      {"terminate", Terminate},
      {"exit", [](const std::string&) { std::exit(3); }},
      {"exit-at-once", [](const std::string&) { _exit(0); }},
      {"hang", Hang},
      {"spin", Spin},
      {"stop", Raise<SIGSTOP>},
      {"hang-in-kernel", HangInKernel},
      {"read-file", ReadFile},
      {"grow", Grow},
      {"grow-unseen", GrowUnseen},
      {"allocate-at-once", AllocateAtOnce},
      {"close-all", CloseAll},
      {"close-all-and-hang", CloseAllAndHang},
      {"garbage", SendGarbage},
      {"nothing", SendNothing},
      {"forge", Forge},
      {"no-memory", SendMemoryThatIsNone},
      {"forge-device", ForgeDevice},
      {"find-without-end", FindWithoutEnd},
      {"withdraw-too-far", WithdrawTooFar},
      {"tell-too-much", TellTooMuch},
      {"tell-too-little", TellTooLittle},
      {"leave-child", LeaveChild},
      {"leave-talker-and-exit", LeaveTalkerAndExit},
      {"leave-free-talker-and-exit", LeaveFreeTalkerAndExit},
      {"leave-child-and-crash", LeaveChildAndCrash},
      {"leave-child-and-exit", LeaveChildAndExit},
      {"say-last-words", SayLastWords},
      {"end-thread", EndThread},
      {"pong", SendPong},
      {"crash-amid-read", CrashAmidRead},
  };
  return deeds;
}

void Commit(const std::string& name, const std::string& file) {
  if (name.empty()) return;
  for (const Deed& deed : Deeds()) {
    if (deed.name == name) return deed.commit(file);
  }
  throw std::out_of_range("no deed " + name);
}

}  // namespace selftest
