#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "service/machine/kept_machine.h"
#include "service/recording/recording.h"

namespace orvan::recording {

struct ReplayOptions {
  std::shared_ptr<const Recording> recording;
  std::string module;
  std::uint64_t worker = 0;  // counts the processes of this module that replay, from 0
};

// The machine of a recording: each access is answered as it was, in the order of the answers, and
// once these are used up by the last one, but for what changes or commands a drive. An access that
// was never recorded has no answer that a verdict about the hardware could come of
// (sdk::kNotRecorded), and neither has memory, which would be that of the machine that replays. No
// time passes but the recorded one, so nothing ever waits.
std::unique_ptr<machine::KeptMachine> MakeReplayMachine(ReplayOptions options);

}  // namespace orvan::recording
