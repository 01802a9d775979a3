#include "service/worker/confinement.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "os/capabilities.h"
#include "service/worker/connection.h"

namespace orvan::worker {

void EndWithParent() {
  prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  // A connection that nobody listens to is an end of its own, not one by a signal.
  signal(SIGPIPE, SIG_IGN);
}

std::string Confine(const protocol::Hello& hello) {
  // It may have died before we asked for the signal.
  if (getppid() != hello.program) LeaveForProgram();
  return tarvex::KeepCapabilities(hello.capabilities);
}

}  // namespace orvan::worker
