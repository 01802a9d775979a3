// orvan-worker: loads one diagnostic module on behalf of the diagnostic service and does all that
// the module does, so that whatever becomes of it, the program goes on. Its descriptor 3 is a
// packet socket to the program, and it ends when that does.
#include <fcntl.h>

#include <array>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

#include "os/child_process.h"
#include "os/wake_event.h"
#include "service/sdk/exception_text.h"
#include "service/worker/confinement.h"
#include "service/worker/connection.h"
#include "service/worker/crash_report.h"
#include "service/worker/hosted_module.h"
#include "service/worker/listener.h"
#include "service/worker/machine_choice.h"
#include "service/worker/memory_limit.h"
#include "service/worker/service_loop.h"

namespace orvan::worker {
namespace {

constexpr std::chrono::milliseconds kForEver{-1};

// What the program gave us to begin with.
struct Beginning {
  protocol::Hello hello;
  std::vector<tarvex::Descriptor> descriptors;
};

std::size_t DescriptorsOf(const protocol::Hello& hello) {
  return 2U + (hello.hasState ? 1U : 0U) +
         (hello.machine != protocol::MachineKind::kLive ? 1U : 0U);
}

Beginning Receive(ProgramChannel& channel) {
  while (true) {
    tarvex::WaitForAny(std::array{channel.Socket().Get()}, kForEver);
    Beginning beginning;
    std::optional<protocol::ToWorker> message;
    const auto receipt = channel.Receive(message, &beginning.descriptors);
    if (receipt == ProgramChannel::Receipt::kNothing) continue;
    if (receipt == ProgramChannel::Receipt::kClosed) LeaveForProgram();
    auto* const hello = message ? std::get_if<protocol::Hello>(&*message) : nullptr;
    if (hello == nullptr || hello->version != protocol::kVersion ||
        beginning.descriptors.size() != DescriptorsOf(*hello)) {
      Leave(protocol::kExitNoConnection);
    }
    beginning.hello = std::move(*hello);
    return beginning;
  }
}

[[noreturn]] void Run() {
  EndWithParent();
  ProgramChannel channel{
      tarvex::PacketSocket(tarvex::Descriptor(tarvex::ChildProcess::kPassedDescriptor))};
  // What a module starts all the same shall not keep the connection.
  fcntl(channel.Socket().Get(), F_SETFD, FD_CLOEXEC);
  Beginning beginning = Receive(channel);
  if (const std::string fault = Confine(beginning.hello); !fault.empty()) {
    Say(channel, protocol::Refused{fault});
    Leave(protocol::kExitNotConfined);
  }
  ReportCrashesTo(channel);
  const MemoryLimit memory(channel, MemoryLimitOf(beginning.hello, beginning.descriptors));
  Orders orders;
  ListenFrom(channel, orders, memory);
  try {
    const auto machine = MakeMachine(beginning.hello, beginning.descriptors, [&channel](int error) {
      Say(channel, protocol::RecordingEnded{error});
    });
    HostedModule hosted(beginning.hello, beginning.descriptors[0], beginning.descriptors[1],
                        *machine);
    LearnLibraries();
    Say(channel, protocol::Ready{});
    Serve(hosted, *machine, channel, orders);
  } catch (...) {
    Say(channel, protocol::Refused{sdk::CurrentExceptionText()});
    Leave(0);
  }
}

}  // namespace
}  // namespace orvan::worker

int main() {
  orvan::worker::Run();
}
