#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "os/descriptor.h"
#include "service/machine/kept_machine.h"
#include "service/recording/stand_ins.h"

namespace orvan::recording {

struct RecordingOptions {
  tarvex::Descriptor file;  // begins with kFirstLine; open for appending, with other processes
  std::string module;
  std::uint64_t worker = 0;  // counts the processes of this module in this recording, from 0
  Key key;                   // one for all processes of a recording
  std::chrono::steady_clock::time_point begin;  // of the recording, on the clock of `inner`
  // Told once, with the errno, when nothing more can be recorded; the run goes on. Any thread.
  std::function<void(int error)> onEnded = {};
};

// Passes everything on to `inner` and records what it answers. The module sees what a replay will
// show it: stand-ins in the place of secrets, and the time of the last answer. What lies on a
// medium, it sees as it is.
std::unique_ptr<machine::KeptMachine> MakeRecordingMachine(
    std::unique_ptr<machine::KeptMachine> inner, RecordingOptions options);

}  // namespace orvan::recording
