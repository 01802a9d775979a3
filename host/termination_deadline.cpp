#include "host/termination_deadline.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>

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

void TerminationDeadline::Begin(int signal) {
  if (thread_ != nullptr) return;
  thread_ = LayerThread::Start("host-deadline", [patience = patience_, signal](int stop) {
    if (WaitOut(patience, stop)) EndProcessBySignal(signal);
  });
}

}  // namespace tarvex
