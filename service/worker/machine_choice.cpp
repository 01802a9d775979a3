#include "service/worker/machine_choice.h"

#include <stdexcept>
#include <utility>

#include "service/machine/live_machine.h"

namespace orvan::worker {
namespace {

constexpr std::size_t kStatePlace = 2;  // behind the module's folder and file

}  // namespace

std::unique_ptr<machine::KeptMachine> MakeMachine(const protocol::Hello& hello,
                                                  std::vector<tarvex::Descriptor>& descriptors) {
  if (hello.machine != protocol::MachineKind::kLive) {
    throw std::runtime_error("this worker knows no recordings");
  }
  machine::LiveMachineOptions options;
  if (hello.hasState) options.stateFolder = std::move(descriptors[kStatePlace]);
  options.helperPath = hello.libraryDirectory + "/orvan/orvan-block-reader";
  return machine::MakeLiveMachine(std::move(options));
}

}  // namespace orvan::worker
