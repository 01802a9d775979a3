#include "service/worker/connection.h"

#include <signal.h>
#include <unistd.h>

namespace orvan::worker {

void Leave(int status) {
  _exit(status);
}

void LeaveForProgram() {
  // The group is ours alone: we were started as its leader.
  if (getpgrp() == getpid()) kill(0, SIGKILL);
  Leave(protocol::kExitNoConnection);
}

void LeaveForError(int error) {
  if (error == EPIPE || error == ECONNRESET || error == ENOTCONN) LeaveForProgram();
  Leave(protocol::kExitNoConnection);
}

}  // namespace orvan::worker
