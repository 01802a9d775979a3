#include "os/terminal_wait.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <utility>

namespace tarvex {

TerminalWait::TerminalWait()
    : TerminalWait(Descriptor(::open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC))) {}

TerminalWait::TerminalWait(Descriptor terminal) : terminal_(std::move(terminal)) {}

void TerminalWait::Await(std::chrono::milliseconds longest) {
  if (!HasInput(std::chrono::milliseconds(0))) {
    left_ = false;
    HasInput(longest);
  } else if (left_) {
    ::poll(nullptr, 0, static_cast<int>(longest.count()));
  } else {
    left_ = true;
  }
}

bool TerminalWait::IsThere() const {
  pollfd asked{terminal_.Get(), 0, 0};
  // A poll that a signal broke off tells nothing; a hang-up is still there the next time.
  return terminal_.Get() >= 0 && ::poll(&asked, 1, 0) <= 0;
}

void TerminalWait::PassOverHangUp() {
  ::signal(SIGHUP, SIG_IGN);
}

bool TerminalWait::HasInput(std::chrono::milliseconds longest) const {
  // poll() passes over a descriptor of -1 and waits all the same.
  pollfd waiting{terminal_.Get(), POLLIN, 0};
  return ::poll(&waiting, 1, static_cast<int>(longest.count())) > 0;
}

}  // namespace tarvex
