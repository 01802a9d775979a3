#include "os/process_start.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace tarvex {
namespace {

// What Debian gives root.
constexpr char kPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
constexpr char kHome[] = "/root";

}  // namespace

int FillStandardDescriptors() {
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    if (fcntl(number, F_GETFD) >= 0) continue;
    // A mere place, so that reading or writing fails as it does on a closed descriptor; this one is
    // there where /dev isn't. The lowest free number is this one: all below are open by now.
    if (open("/", O_PATH) < 0) return errno;
  }
  return 0;
}

void SurviveFailedWrites() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void KeepEndsOfChildren() {
  std::signal(SIGCHLD, SIG_DFL);
}

void PrepareEnvironment() {
  setenv("PATH", kPath, 1);
  setenv("HOME", kHome, 1);
  setenv("SDL_AUDIODRIVER", "dummy", 1);
}

}  // namespace tarvex
