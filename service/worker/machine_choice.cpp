#include "service/worker/machine_choice.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "service/machine/live_machine.h"
#include "service/recording/recording_file.h"
#include "service/recording/recording_machine.h"
#include "service/recording/replay_machine.h"

namespace orvan::worker {
namespace {

using protocol::MachineKind;

constexpr std::size_t kStatePlace = 2;  // behind the module's folder and file

std::unique_ptr<machine::KeptMachine> MakeLive(const protocol::Hello& hello,
                                               std::vector<tarvex::Descriptor>& descriptors) {
  machine::LiveMachineOptions options;
  if (hello.hasState) options.stateFolder = std::move(descriptors[kStatePlace]);
  return machine::MakeLiveMachine(std::move(options));
}

// A recording calls a module as its file is called.
std::string ModuleOf(const protocol::Hello& hello) {
  return hello.name.substr(0, hello.name.rfind(".so"));
}

recording::Key KeyOf(const protocol::Hello& hello) {
  std::array<unsigned char, recording::Key::kBytes> bytes{};
  if (hello.key.size() != bytes.size()) throw std::runtime_error("the recording has no key");
  std::copy(hello.key.begin(), hello.key.end(), bytes.begin());
  return recording::Key(bytes);
}

}  // namespace

std::uint64_t MemoryLimitOf(const protocol::Hello& hello,
                            const std::vector<tarvex::Descriptor>& descriptors) {
  const bool isReplay = hello.machine == MachineKind::kReplay && hello.memoryBytes != 0;
  return hello.memoryBytes + (isReplay ? recording::MemoryOfReplay(descriptors.back()) : 0);
}

std::unique_ptr<machine::KeptMachine> MakeMachine(const protocol::Hello& hello,
                                                  std::vector<tarvex::Descriptor>& descriptors,
                                                  std::function<void(int error)> onRecordingEnded) {
  if (hello.machine == MachineKind::kReplay) {
    return recording::MakeReplayMachine(
        {recording::RecordingIn(descriptors.back(), ModuleOf(hello)), ModuleOf(hello),
         hello.worker});
  }
  std::unique_ptr<machine::KeptMachine> live = MakeLive(hello, descriptors);
  if (hello.machine == MachineKind::kLive) return live;
  const std::chrono::steady_clock::time_point begin{
      std::chrono::microseconds(hello.recordingBegin)};
  return recording::MakeRecordingMachine(
      std::move(live), {std::move(descriptors.back()), ModuleOf(hello), hello.worker, KeyOf(hello),
                        begin, std::move(onRecordingEnded)});
}

}  // namespace orvan::worker
