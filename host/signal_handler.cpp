#include "host/signal_handler.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/process_signals.h"

namespace tarvex {

SignalHandler::~SignalHandler() {
  ForwardTermination(false);
}

void SignalHandler::SetHandler(HostSignalCallback function) {
  const std::lock_guard lock(shared_->mutex);
  auto& functions = shared_->functions;
  if (function == nullptr ||
      std::find(functions.begin(), functions.end(), function) != functions.end()) {
    return;
  }
  if (!StartOnce()) return;
  functions.push_back(function);
  ForwardTermination(true);
  WatchTermination();
}

void SignalHandler::RemoveHandler(HostSignalCallback function) {
  std::unique_lock lock(shared_->mutex);
  std::erase(shared_->functions, function);
  if (shared_->functions.empty()) ForwardTermination(false);
  if (function == nullptr || (thread_ != nullptr && thread_->IsCurrent())) return;
  shared_->finished.wait(lock, [&] { return shared_->running != function; });
}

bool SignalHandler::StartOnce() {
  if (thread_ == nullptr && TerminationDescriptor() >= 0) {
    thread_ =
        LayerThread::Start("host-signals", [shared = shared_](int stop) { Serve(*shared, stop); });
  }
  return thread_ != nullptr;
}

void SignalHandler::Serve(Shared& shared, int stop) {
  const int wake = TerminationDescriptor();
  while (true) {
    std::array<pollfd, 2> waiting{{{stop, POLLIN, 0}, {wake, POLLIN, 0}}};
    if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) return;
    if (waiting[0].revents != 0) return;
    eventfd_t count = 0;
    // Emptied before the counters are: a request that comes in between wakes this thread again.
    ::eventfd_read(wake, &count);
    for (const int signal : kTerminationSignals) {
      for (auto left = TakeTerminations(signal); left > 0; --left) {
        shared.deadline.Begin(signal);
        Dispatch(shared, signal);
      }
    }
  }
}

void SignalHandler::Dispatch(Shared& shared, int signal) {
  std::unique_lock lock(shared.mutex);
  const std::vector<HostSignalCallback> functions = shared.functions;
  if (functions.empty()) {
    // The last function went while this request was on its way. It is not lost for that.
    EndByLateSignal(signal);
    return;
  }
  for (const HostSignalCallback function : functions) {
    const auto& now = shared.functions;
    if (std::find(now.begin(), now.end(), function) == now.end()) continue;
    shared.running = function;
    lock.unlock();
    function(signal, 0, 0);
    lock.lock();
    shared.running = nullptr;
    shared.finished.notify_all();
  }
}

}  // namespace tarvex
