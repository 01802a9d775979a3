#include "host/termination_deadline.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/process_signals.h"
#include "host/terminal.h"

namespace tarvex {
namespace {

using std::chrono::milliseconds;

// The patience is waited for in so many pieces, none of which counts for more than its length.
constexpr int kPieces = 10;
// What a shell shows for a process that a signal ended is this and the signal.
constexpr int kEndedBySignal = 128;

// True when the descriptor became readable within that time.
bool IsReadable(int descriptor, int timeoutMs) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, timeoutMs) > 0;
}

// True when the time went by without a stop.
bool WaitOut(milliseconds patience, int stopDescriptor) {
  const milliseconds piece = std::max(patience / kPieces, milliseconds(1));
  while (patience > milliseconds::zero()) {
    if (IsReadable(stopDescriptor, static_cast<int>(piece.count()))) return false;
    patience -= piece;
  }
  return true;
}

[[noreturn]] void EndProcessBySignal(int signal) {
  // No key press of the main thread takes the terminal again meanwhile.
  SuspendTerminal();
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, signal);
  // One thread that takes the signal there is for sure.
  ::pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
  EndBySignal(signal);
  ::raise(signal);
  ::_exit(kEndedBySignal + signal);
}

}  // namespace

struct TerminationDeadline::Shared {
  milliseconds patience{};
  Descriptor begun;  // readable from the first request on
  std::atomic<int> signal{0};
};

TerminationDeadline::TerminationDeadline(milliseconds patience)
    : shared_(std::make_shared<Shared>()) {
  shared_->patience = patience;
  shared_->begun.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

bool TerminationDeadline::Start() {
  if (thread_ == nullptr && shared_->begun.IsOpen()) {
    thread_ = LayerThread::Start("host-deadline", [shared = shared_](int stop) {
      std::array<pollfd, 2> waiting{{{stop, POLLIN, 0}, {shared->begun.Get(), POLLIN, 0}}};
      while (::poll(waiting.data(), waiting.size(), -1) < 0) {
        if (errno != EINTR) return;
      }
      if (waiting[0].revents != 0 || !WaitOut(shared->patience, stop)) return;
      EndProcessBySignal(shared->signal);
    });
  }
  return thread_ != nullptr;
}

void TerminationDeadline::Begin(int signal) {
  int none = 0;
  if (shared_->signal.compare_exchange_strong(none, signal)) {
    ::eventfd_write(shared_->begun.Get(), 1);
  }
}

}  // namespace tarvex
