#include "system/process_start.h"

#include <fcntl.h>
#include <glob.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

namespace tarvex {
namespace {

bool HasSoundCard() {
  glob_t found{};
  const bool any = glob("/dev/snd/controlC*", GLOB_NOSORT, nullptr, &found) == 0;
  globfree(&found);
  return any;
}

bool HasSoundServer() {
  const char* const server = secure_getenv("PULSE_SERVER");
  if (server != nullptr && *server != '\0') return true;
  const char* const folder = secure_getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder == '\0') return false;
  const std::string base(folder);
  return access((base + "/pulse/native").c_str(), F_OK) == 0 ||
         access((base + "/pipewire-0").c_str(), F_OK) == 0;
}

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

void PrepareEnvironment() {
  unsetenv("POSIXLY_CORRECT");
  if (!HasSoundCard() && !HasSoundServer()) setenv("SDL_AUDIODRIVER", "dummy", 0);
}

}  // namespace tarvex
