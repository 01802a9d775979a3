#include "service/worker/listener.h"

#include <pthread.h>
#include <signal.h>

#include <array>
#include <chrono>
#include <optional>
#include <utility>

#include "os/wake_event.h"
#include "service/worker/crash_report.h"

namespace orvan::worker {
namespace {

// How fast a module that grows is noticed.
constexpr std::chrono::milliseconds kMemoryPace{100};
constexpr std::chrono::milliseconds kForEver{-1};

// Does what one message asks for; false for one that has no place here.
class Obedience {
 public:
  Obedience(ProgramChannel& channel, Orders& orders, const MemoryLimit& memory)
      : channel_(channel), orders_(orders), memory_(memory) {}

  bool operator()(const protocol::Hello&) { return false; }
  bool operator()(protocol::Scan& order) { return orders_.Give(order); }
  bool operator()(protocol::TellResources& order) { return orders_.Give(std::move(order)); }
  bool operator()(protocol::RunTest& order) {
    orders_.SetSystemEvents(order.systemEvents);
    return orders_.Give(std::move(order));
  }
  bool operator()(protocol::RunTool& order) {
    orders_.SetSystemEvents(order.systemEvents);
    return orders_.Give(std::move(order));
  }
  bool operator()(protocol::ToolAnswer& answer) { return orders_.Answer(std::move(answer)); }
  bool operator()(const protocol::Stop& stop) {
    orders_.Stop(stop.request, stop.reason);
    return true;
  }
  bool operator()(const protocol::SystemEvents& events) {
    orders_.SetSystemEvents(events.bits);
    return true;
  }
  bool operator()(const protocol::Ping&) {
    // Where there is no room, the program has enough to hear.
    const int error = channel_.Send(protocol::Pong{memory_.ResidentBytes()}, false);
    if (error != 0 && error != EAGAIN) LeaveForError(error);
    return true;
  }

 private:
  ProgramChannel& channel_;
  Orders& orders_;
  const MemoryLimit& memory_;
};

[[noreturn]] void Listen(ProgramChannel& channel, Orders& orders, const MemoryLimit& memory) {
  // The module's stop callbacks run here.
  ReportCrashesHere();
  Obedience obedience(channel, orders, memory);
  while (true) {
    tarvex::WaitForAny(std::array{channel.Socket().Get()},
                       orders.IsBusy() ? kMemoryPace : kForEver);
    std::optional<protocol::ToWorker> message;
    switch (channel.Receive(message, nullptr)) {
      case ProgramChannel::Receipt::kPacket:
        if (!std::visit(obedience, *message)) Leave(protocol::kExitNoConnection);
        break;
      case ProgramChannel::Receipt::kNothing:
        break;
      case ProgramChannel::Receipt::kClosed:
        LeaveForProgram();
      case ProgramChannel::Receipt::kBroken:
        Leave(protocol::kExitNoConnection);
    }
    if (orders.IsBusy()) memory.Look();
  }
}

}  // namespace

void ListenFrom(ProgramChannel& channel, Orders& orders, const MemoryLimit& memory) {
  // Signals that are sent are for the thread that the module runs on.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread([&] { Listen(channel, orders, memory); }).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace orvan::worker
