#pragma once

#include <cerrno>
#include <stdexcept>

#include "service/protocol/channel.h"
#include "service/protocol/from_worker.h"
#include "service/protocol/to_worker.h"

namespace orvan::worker {

using ProgramChannel = protocol::Channel<protocol::FromWorker, protocol::ToWorker>;

// Ends the process at once and without any of the module's code: what hangs stays behind.
[[noreturn]] void Leave(int status);
// The same, because the program is gone; what the module has started ends, too.
[[noreturn]] void LeaveForProgram();
// What there is to do after a failed call on the connection: nobody can be told anything.
[[noreturn]] void LeaveForError(int error);

// Says something to the program; waits when that is busy. Throws std::length_error for more than a
// message may hold. Any thread.
template <typename Message>
void Say(const ProgramChannel& channel, const Message& message) {
  const int error = channel.Send(message, true);
  if (error == EMSGSIZE) throw std::length_error("more than a message may hold");
  if (error != 0) LeaveForError(error);
}

}  // namespace orvan::worker
