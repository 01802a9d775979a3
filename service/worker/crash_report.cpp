#include "service/worker/crash_report.h"

#include <execinfo.h>
#include <link.h>
#include <poll.h>
#include <signal.h>
#include <ucontext.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <span>

namespace orvan::worker {
namespace {

constexpr std::array kFatalSignals{SIGSEGV, SIGBUS, SIGILL,  SIGFPE, SIGABRT,
                                   SIGTRAP, SIGSYS, SIGXCPU, SIGXFSZ};
constexpr std::size_t kStackBytes = 64U << 10;
constexpr std::size_t kMostLibraries = 128;
constexpr int kMostWaitMs = 1000;

struct Library {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  std::uintptr_t base = 0;
  std::array<char, protocol::kLibraryNameBytes> name{};
};

// What the handler reads; of static duration, for it can be handed nothing.
struct Report {
  const ProgramChannel* channel = nullptr;
  std::array<Library, kMostLibraries> libraries{};
  std::atomic<std::size_t> count{0};
  std::atomic<bool> isUnderWay{false};
  alignas(16) std::array<std::byte, kStackBytes> stack{};
  alignas(16) std::array<std::byte, kStackBytes> otherStack{};  // of the thread that listens
};
Report report;

void HandleSignalsOn(std::array<std::byte, kStackBytes>& memory) {
  stack_t stack{};
  stack.ss_sp = memory.data();
  stack.ss_size = memory.size();
  sigaltstack(&stack, nullptr);
}

const char* NameIn(const char* path) {
  const char* const slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

int AddLibrary(dl_phdr_info* information, std::size_t /*size*/, void* counted) {
  auto& count = *static_cast<std::size_t*>(counted);
  if (count == kMostLibraries) return 1;
  Library& library = report.libraries[count];
  library = {UINTPTR_MAX, 0, information->dlpi_addr, {}};
  for (int i = 0; i < information->dlpi_phnum; ++i) {
    const ElfW(Phdr)& part = information->dlpi_phdr[i];
    if (part.p_type != PT_LOAD) continue;
    const std::uintptr_t begin = information->dlpi_addr + part.p_vaddr;
    library.begin = std::min(library.begin, begin);
    library.end = std::max(library.end, begin + part.p_memsz);
  }
  // The program itself comes first and has no name.
  const char* const name = count == 0 ? "orvan-worker" : NameIn(information->dlpi_name);
  std::strncpy(library.name.data(), name, library.name.size());
  ++count;
  return 0;
}

protocol::Frame FrameAt(std::uintptr_t address) {
  for (std::size_t i = 0; i < report.count; ++i) {
    const Library& library = report.libraries[i];
    if (address >= library.begin && address < library.end) {
      return {library.name, address - library.base};
    }
  }
  return {{}, address};
}

bool HasAddress(int signal) {
  return signal == SIGSEGV || signal == SIGBUS || signal == SIGILL || signal == SIGFPE;
}

// Where the thread was when the signal came; null where that is not known.
void* PlaceOf(const ucontext_t& context) {
#if defined(__x86_64__)
  return reinterpret_cast<void*>(context.uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
  return reinterpret_cast<void*>(context.uc_mcontext.pc);
#else
  return nullptr;
#endif
}

// The places that led there, without those of the handler itself.
std::span<void* const> PlacesBelow(std::span<void* const> places, const ucontext_t& context) {
  const auto first = std::find(places.begin(), places.end(), PlaceOf(context));
  return first == places.end() ? places : std::span(first, places.end());
}

// Only calls that a signal handler may make: backtrace was called before, so that its library is
// there and found without a lock.
void Tell(int signal, const siginfo_t& information, const ucontext_t& context) {
  static protocol::Crashed crashed;
  std::array<void*, protocol::kMostFrames> addresses{};
  const int count = backtrace(addresses.data(), static_cast<int>(addresses.size()));
  const std::span places =
      PlacesBelow(std::span(addresses).first(static_cast<std::size_t>(count)), context);
  crashed.signal = signal;
  crashed.address = HasAddress(signal) && information.si_code > 0
                        ? reinterpret_cast<std::uintptr_t>(information.si_addr)
                        : 0;
  crashed.count = static_cast<std::uint32_t>(places.size());
  for (std::size_t i = 0; i < crashed.count; ++i) {
    crashed.frames[i] = FrameAt(reinterpret_cast<std::uintptr_t>(places[i]));
  }
  static protocol::FixedBytes<sizeof(protocol::Crashed) + 64> bytes;
  protocol::EncodeInto<protocol::FromWorker>(bytes, crashed);
  const tarvex::PacketSocket& socket = report.channel->Socket();
  pollfd room{socket.Get(), POLLOUT, 0};
  poll(&room, 1, kMostWaitMs);
  socket.Send(bytes.Bytes(), {}, false);
}

void OnFatalSignal(int signal, siginfo_t* information, void* context) {
  // Another thread's signal, or one of the handler itself, ends the process at once.
  if (!report.isUnderWay.exchange(true))
    Tell(signal, *information, *static_cast<const ucontext_t*>(context));
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  sigaction(signal, &usual, nullptr);
  raise(signal);
}

}  // namespace

void LearnLibraries() {
  std::size_t count = 0;
  dl_iterate_phdr(AddLibrary, &count);
  report.count = count;
}

void ReportCrashesTo(const ProgramChannel& channel) {
  report.channel = &channel;
  std::array<void*, 1> first{};
  backtrace(first.data(), 1);
  LearnLibraries();
  HandleSignalsOn(report.stack);
  struct sigaction action {};
  action.sa_sigaction = OnFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  for (const int signal : kFatalSignals) sigaction(signal, &action, nullptr);
}

void ReportCrashesHere() {
  HandleSignalsOn(report.otherStack);
  sigset_t fatal;
  sigemptyset(&fatal);
  for (const int signal : kFatalSignals) {
    // Of the others' time this thread does not tell.
    if (signal != SIGXCPU) sigaddset(&fatal, signal);
  }
  pthread_sigmask(SIG_UNBLOCK, &fatal, nullptr);
}

}  // namespace orvan::worker
