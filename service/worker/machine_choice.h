#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "os/descriptor.h"
#include "service/machine/kept_machine.h"
#include "service/protocol/to_worker.h"

namespace orvan::worker {

// How much memory the worker may take: the module's, and that of a recording that replays.
std::uint64_t MemoryLimitOf(const protocol::Hello& hello,
                            const std::vector<tarvex::Descriptor>& descriptors);

// The machine that the program chose for this run. Takes from `descriptors`, which are Hello's,
// what the machine needs. Throws std::runtime_error with the reason. `onRecordingEnded` is told
// once when no more can be recorded, on any thread.
std::unique_ptr<machine::KeptMachine> MakeMachine(const protocol::Hello& hello,
                                                  std::vector<tarvex::Descriptor>& descriptors,
                                                  std::function<void(int error)> onRecordingEnded);

}  // namespace orvan::worker
